#include "brvcore/network/HTTPProgress.h"

#include "brvcore/foundation/IProgressReporter.h"
#include "brvcore/network/HTTPRequest.h"

#include <algorithm>

namespace
{

constexpr unsigned kUserLocale = 0;
constexpr int kDecimals = 2;

double Share(std::uint64_t bytes, std::uint64_t total)
{
    return total == 0 ? 0.0 : std::min(1.0, static_cast<double>(bytes) / static_cast<double>(total));
}

TString StepText(std::uint64_t bytes, std::uint64_t total)
{
    TString text = HTTPRequest::FormatSize(bytes, kUserLocale, kDecimals);
    if (total != 0)
        text.Append(u" of ").Append(HTTPRequest::FormatSize(total, kUserLocale, kDecimals));
    return text;
}

}   // namespace

void HTTPProgress::Report(
    std::uint64_t sent, std::uint64_t sendTotal, std::uint64_t received, std::uint64_t receiveTotal)
{
    const bool isReceiving = m_countsReply && received != 0;
    const std::uint64_t bytes = isReceiving ? received : sent;
    const std::uint64_t total = isReceiving ? receiveTotal : sendTotal;
    if (!IsTimeToReport(bytes, total))
        return;
    const double received01 = isReceiving ? Share(received, receiveTotal) : 0.0;
    const double fraction = sendTotal == 0 ? received01 : 0.5 * Share(sent, sendTotal) + 0.5 * received01;
    m_highest = std::max(m_highest, fraction);
    m_reporter.ReportProgress(m_highest, StepText(bytes, total));
}

// The clock is the display's: how often it is drawn does not depend on what tests make of time.
bool HTTPProgress::IsTimeToReport(std::uint64_t bytes, std::uint64_t total)
{
    if (bytes == 0 || bytes == m_lastBytes)
        return false;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next && bytes != total)
        return false;
    m_lastBytes = bytes;
    m_next = now + kPause;
    return true;
}
