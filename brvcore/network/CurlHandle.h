#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <curl/curl.h>

// What all handles of one session share: cookies, resolved names and TLS sessions, each behind a lock of its own. Never
// connections, which libcurl does not share safely between threads. Outlives its handles.
class CurlShare
{
public:
    CurlShare();
    ~CurlShare();
    CurlShare(const CurlShare&) = delete;
    CurlShare& operator=(const CurlShare&) = delete;

    CURLSH* Get() const noexcept { return m_share; }

private:
    static void Lock(CURL* handle, curl_lock_data data, curl_lock_access access, void* share);
    static void Unlock(CURL* handle, curl_lock_data data, void* share);

    std::array<std::mutex, CURL_LOCK_DATA_LAST> m_locks;
    CURLSH* m_share;
};

// One transfer at a time: an easy handle and the multi handle that drives it and keeps its connections open for the next.
// Belongs to one thread at a time; Wake() alone may be called from any.
class CurlHandle
{
public:
    CurlHandle(const CurlShare& share, std::string origin);
    ~CurlHandle();
    CurlHandle(const CurlHandle&) = delete;
    CurlHandle& operator=(const CurlHandle&) = delete;

    CURL* GetEasy() const noexcept { return m_easy; }
    CURLM* GetMulti() const noexcept { return m_multi; }
    const std::string& GetOrigin() const noexcept { return m_origin; }
    void Reset() noexcept;   // all options but NOSIGNAL; connections, cookies, names and TLS sessions stay
    void Wake() noexcept { curl_multi_wakeup(m_multi); }
    void ClearCookies();   // of the whole share

private:
    // Signals belong to the host. Without this option libcurl, when it closes a connection or a handle, ignores SIGPIPE for a
    // moment; two threads that do so at once may leave it ignored for good. Hence a handle has it at any time.
    void LeaveSignalsAlone() noexcept;

    std::string m_origin;
    CURLSH* m_share;
    CURLM* m_multi;
    CURL* m_easy;
};

// Handles that wait, with their open connections, for the next request to the same origin. Any thread may use it.
class CurlHandlePool
{
public:
    // Handles; the oldest goes first. Each holds two sockets of its own and its connections: to the origin, and to where
    // redirects led.
    static constexpr std::size_t kMaxIdle = 32;
    // libcurl does not use a connection again that was idle for as long.
    static constexpr std::chrono::seconds kMaxIdleTime{118};

    explicit CurlHandlePool(const CurlShare& share) : m_share(share) {}

    // "scheme://host:port" as the URL writes it, in lower case, without the user; a key, not a check.
    static std::string GetOrigin(std::string_view url);

    std::unique_ptr<CurlHandle> Take(std::string origin);
    void Return(std::unique_ptr<CurlHandle> handle);
    void Clear();

private:
    struct Idle
    {
        std::unique_ptr<CurlHandle> handle;
        std::chrono::steady_clock::time_point since;
    };
    std::vector<Idle> RemoveOld();   // those beyond the limits; under the lock

    const CurlShare& m_share;
    std::mutex m_lock;
    std::vector<Idle> m_idle;   // the one used last at the end
};
