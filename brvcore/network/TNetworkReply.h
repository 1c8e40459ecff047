#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TString.h"
#include "brvcore/network/ReplyHeaders.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

// Where the body of a successful reply goes. Called on the transfer's thread; what it throws ends the transfer and
// reaches the caller unchanged.
class IBodySink
{
public:
    virtual ~IBodySink() = default;
    virtual void Write(const char* bytes, std::size_t size) = 0;
    // Forgets what was written, for the next attempt.
    virtual void Rewind() = 0;
};

// What came back: filled by the transport on the transfer's thread, read by others when the transfer has ended. Only
// Cancel() and IsCancelled() may be called from any thread, at any time.
//
// Header lines of a redirect or an authentication round are replaced by those of the reply that follows. A body goes to the
// sink when `isForSink` says so for its status, and otherwise (redirects that end here, errors) into the error data, which
// keeps the first kMaxErrorData bytes.
class BRV_EXPORT TNetworkReply
{
public:
    static constexpr std::size_t kMaxErrorData = std::size_t{16} << 20;
    // Of all header lines of a transfer, redirects included: a server cannot fill the memory with headers.
    static constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 20;

    static bool IsSuccessStatus(int status) noexcept { return status >= 200 && status <= 299; }

    // Without a predicate, success statuses go to the sink. A null sink takes no body: it is dropped.
    explicit TNetworkReply(IBodySink* sink, std::function<bool(int status)> isForSink = IsSuccessStatus);
    ~TNetworkReply();
    TNetworkReply(const TNetworkReply&) = delete;
    TNetworkReply& operator=(const TNetworkReply&) = delete;

    // Ends the transfer within a quarter of a second, in whatever phase it is; at once when it has not begun. The transfer
    // then throws CancelledException. Stays in force: a cancelled reply cannot be used again.
    void Cancel() noexcept;
    bool IsCancelled() const noexcept { return m_isCancelled.load(std::memory_order_acquire); }

    int GetStatus() const noexcept { return m_status; }
    const ReplyHeaders& GetHeaders() const noexcept { return m_headers; }
    TString GetHeader(std::u16string_view name) const { return m_headers.Get(name); }
    bool HasHeader(std::u16string_view name) const noexcept { return m_headers.Has(name); }
    const TString& GetEffectiveUrl() const noexcept { return m_effectiveUrl; }   // without user and password
    const std::string& GetErrorData() const noexcept { return m_errorData; }
    std::uint64_t GetBodySize() const noexcept { return m_bodySize; }   // bytes received, unpacked

    // --- For the transport, on the transfer's thread -----------------------------------------------------------------
    // Forgets an earlier attempt; a sink that has taken bytes of one is rewound. Throws CancelledException once cancelled.
    void OnStart();
    // One line of a head, with its CR LF, and libcurl's opinion of the head's status: two readings of a status line might
    // differ. A trailer of a reply without a body may come here too; those behind a body do not.
    void OnHeaderLine(std::string_view line, int status);
    void OnBody(const char* bytes, std::size_t size);
    void OnDone(int status, TString effectiveUrl);
    // The head of a reply that is not interim (1xx) has come to its end, the empty line.
    bool HasCompleteHead() const noexcept { return m_head == Head::Complete; }
    bool IsForSink() const noexcept { return m_isForSinkNow; }   // the body of the head at hand
    // Called by Cancel() while a transfer runs; empty when none does. Set and cleared under a lock.
    void SetWakeUp(std::function<void()> wakeUp);

private:
    struct Wake;
    enum class Head : std::uint8_t
    {
        None,       // the next line is a status line
        Open,       // between a status line and the empty line
        Interim,    // of a 1xx reply, which does not count
        Complete,   // lines from now on are trailers, which do not count
    };

    IBodySink* m_sink;
    std::function<bool(int)> m_isForSink;
    std::atomic<bool> m_isCancelled{false};
    std::unique_ptr<Wake> m_wake;
    int m_status = 0;
    ReplyHeaders m_headers;
    TString m_effectiveUrl;
    std::string m_errorData;
    std::uint64_t m_bodySize = 0;
    std::size_t m_headerBytes = 0;
    Head m_head = Head::None;
    bool m_isForSinkNow = false;   // the predicate's answer for the status at hand
};
