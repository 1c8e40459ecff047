#pragma once

#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/TNetworkReply.h"

#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class HTTPProgress;

// Between the transport and the sink. The body of a success that a policy has a say in waits here until it has spoken.
class HTTPRequestor::BodySwitch final : public IBodySink
{
public:
    BodySwitch(HTTPRequestor& requestor, IBodySink& sink) : m_requestor(requestor), m_sink(sink) {}

    void Hold() noexcept { m_isHolding = true; }
    const std::string& GetHeld() const noexcept { return m_held; }
    std::string Release() noexcept
    {
        m_isHolding = false;
        return std::exchange(m_held, std::string());
    }

    void Write(const char* bytes, std::size_t size) override
    {
        if (!m_hasBegun) [[unlikely]]
        {
            m_hasBegun = true;
            m_requestor.BeginBody();
        }
        if (m_isHolding)
            m_held.append(bytes, size);
        else
            m_sink.Write(bytes, size);
    }
    void Rewind() override
    {
        m_hasBegun = false;
        m_isHolding = false;
        m_held.clear();
        m_sink.Rewind();
    }

private:
    HTTPRequestor& m_requestor;
    IBodySink& m_sink;
    bool m_hasBegun = false;
    bool m_isHolding = false;
    std::string m_held;
};

struct HTTPRequestor::Transfer
{
    std::atomic<bool> isCancelled{false};

    mutable std::mutex mutex;   // guards these
    std::unique_ptr<TNetworkReply> reply;
    int status = 0;
    std::vector<std::pair<TString, TString>> headers;
    TString effectiveUrl;
    std::exception_ptr exception;

    // of the thread that executes the request
    std::optional<BodySwitch> body;
    HTTPProgress* progress = nullptr;
    double highestProgress = 0.0;
};
