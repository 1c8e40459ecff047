#pragma once

#include "brvcore/network/TNetworkRequest.h"

#include <chrono>
#include <cstdint>

class IProgressReporter;

// Tells a host's reporter how far one attempt of a request is. With a body to send, sending it is the first half of the
// work and receiving the reply the second; without one, receiving is all of it. A reply of unknown length stays where
// it begins, and only the text goes on. The body of a reply that is an error is no progress.
class HTTPProgress final : public ITransferProgress
{
public:
    // `highest` outlives the attempts of a request: what one of them has reported, the next does not fall behind.
    HTTPProgress(IProgressReporter& reporter, double& highest) : m_reporter(reporter), m_highest(highest) {}

    void CountReply() noexcept { m_countsReply = true; }   // from here on, the reply is what was asked for

    void Report(
        std::uint64_t sent, std::uint64_t sendTotal, std::uint64_t received, std::uint64_t receiveTotal) override;

private:
    // A display changes ten times a second at most; libcurl asks thousands of times.
    static constexpr std::chrono::milliseconds kPause{100};

    bool IsTimeToReport(std::uint64_t bytes, std::uint64_t total);

    IProgressReporter& m_reporter;
    double& m_highest;
    bool m_countsReply = false;
    std::uint64_t m_lastBytes = 0;
    std::chrono::steady_clock::time_point m_next{};
};
