#pragma once

#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class HTTPProgress;

// Between the transport and the sink. Of the body of a success that a policy has a say in, the beginning is kept for the policy
// to read. All of it waits here until the policy has spoken, when the sink could not take it back.
class HTTPRequestor::BodySwitch final : public IBodySink
{
public:
    BodySwitch(HTTPRequestor& requestor, IBodySink& sink) : m_requestor(requestor), m_sink(sink) {}

    void Keep() noexcept { m_keeping = Keeping::Copy; }
    void Hold() noexcept { m_keeping = Keeping::Hold; }
    const std::string& GetKept() const noexcept { return m_kept; }
    // What has to go to the sink yet; nothing is kept any longer.
    std::string Release() noexcept
    {
        std::string kept = std::exchange(m_kept, std::string());
        return std::exchange(m_keeping, Keeping::Nothing) == Keeping::Hold ? kept : std::string();
    }

    void Write(const char* bytes, std::size_t size) override
    {
        if (!m_hasBegun) [[unlikely]]
        {
            m_hasBegun = true;
            m_requestor.BeginBody();
        }
        if (m_keeping == Keeping::Hold && size > kMaxKept - m_kept.size())
            ThrowTooLong();
        if (m_keeping != Keeping::Nothing)
            m_kept.append(bytes, std::min(size, kMaxKept - m_kept.size()));
        if (m_keeping != Keeping::Hold)
            m_sink.Write(bytes, size);
    }
    void Rewind() override
    {
        m_hasBegun = false;
        m_keeping = Keeping::Nothing;
        m_kept.clear();
        m_sink.Rewind();
    }
    // As Rewind(), but what the policy has read can still be read.
    void RewindSink() { m_sink.Rewind(); }

private:
    enum class Keeping : std::uint8_t
    {
        Nothing,
        Copy,   // of the beginning
        Hold,
    };
    static constexpr std::size_t kMaxKept = TNetworkReply::kMaxErrorData;
    [[noreturn]] static void ThrowTooLong();

    HTTPRequestor& m_requestor;
    IBodySink& m_sink;
    bool m_hasBegun = false;
    Keeping m_keeping = Keeping::Nothing;
    std::string m_kept;
};

struct HTTPRequestor::Transfer
{
    std::atomic<bool> isCancelled{false};

    mutable std::mutex mutex;   // guards these
    std::unique_ptr<TNetworkReply> reply;
    int status = 0;
    ReplyHeaders headers;
    TString effectiveUrl;
    std::exception_ptr exception;

    // of the thread that executes the request
    std::optional<BodySwitch> body;
    HTTPProgress* progress = nullptr;
    double highestProgress = 0.0;
};
