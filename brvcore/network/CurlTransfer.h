#pragma once

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/network/ContentUnpacker.h"
#include "brvcore/network/CurlHandle.h"
#include "brvcore/network/CurlOptions.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <optional>
#include <string_view>

class TNetworkReply;

// One exchange on one handle, which has no options set before and none after: sets the handle up, drives it until the
// reply is complete, and turns what went wrong into an exception. libcurl calls back into C++ only through guards that
// keep an exception until the transfer has ended.
//
// The calling thread drives the transfer. It sleeps for at most kPollInterval, asks its CancellationChecker, and is woken by
// TNetworkReply::Cancel().
class CurlTransfer
{
public:
    CurlTransfer(
        CurlHandle& handle, const TNetworkRequest& request, TNetworkReply& reply, const TransportSettings& settings);
    ~CurlTransfer();
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    // See TNetworkAccessManager::Execute. After a failure the handle is not to be used again.
    void Run();

private:
    using Time = std::chrono::steady_clock;

    static std::size_t OnHeader(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
    static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* transfer) noexcept;
    static std::size_t OnRead(char* buffer, std::size_t size, std::size_t count, void* transfer) noexcept;
    static int OnSeek(void* transfer, curl_off_t offset, int origin) noexcept;
    static int OnProgress(
        void* transfer, curl_off_t receiveTotal, curl_off_t received, curl_off_t sendTotal, curl_off_t sent) noexcept;

    void SetCallbacks();
    CURLcode Drive();
    void CheckCancelled(Time::time_point now);   // throws CancelledException
    void ReceiveHeader(std::string_view line);
    void ReceiveBody(const char* bytes, std::size_t size);
    void Unpack(std::string_view packed);
    std::size_t ReadUpload(char* buffer, std::size_t size);
    void ReportProgress(
        std::uint64_t receiveTotal, std::uint64_t received, std::uint64_t sendTotal, std::uint64_t sent);
    void Finish(CURLcode code);
    void CheckReplyIsWhole() const;
    TString GetEffectiveUrl() const;
    // Runs a callback's work; on an exception or a cancel answers `failure`, which makes libcurl end the transfer.
    template <class Result, class Work> Result Guard(Result failure, Work work) noexcept;

    CurlHandle& m_handle;
    const TNetworkRequest& m_request;
    TNetworkReply& m_reply;
    const TransportSettings& m_settings;
    CurlList m_headers;
    std::exception_ptr m_failure;   // what a callback threw first
    CancellationChecker m_checker{1};
    Time::time_point m_nextCheck{};                     // the first look asks
    Time::time_point m_end = Time::time_point::max();   // of the operation time-out
    std::optional<ContentUnpacker> m_unpacker;
    bool m_hasBodyBegun = false;
    std::uint64_t m_uploadPosition = 0;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
};
