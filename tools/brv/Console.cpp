#include "Console.h"

#include "Failure.h"
#include "Interrupt.h"
#include "Text.h"
#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/MetricsScope.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

#include <poll.h>
#include <unistd.h>

namespace
{

std::mutex g_outputMutex;   // the standard output; before the other one
std::mutex g_mutex;         // the standard error and the bar
std::string g_bar;          // what stands at the end of the terminal, empty when nothing does

void EraseBar()
{
    if (!g_bar.empty())
        std::fputs("\r\x1b[K", stderr);
}

void DrawBar()
{
    if (g_bar.empty())
        return;
    std::fputs(g_bar.c_str(), stderr);
    std::fflush(stderr);
}

void ReplaceBar(const std::string& bar)
{
    static const bool isTerminal = ::isatty(STDERR_FILENO) == 1;
    if (!isTerminal)
        return;
    const std::lock_guard lock(g_mutex);
    EraseBar();
    g_bar = bar;
    DrawBar();
}

// In pieces that a pipe takes whole once it has room, so that no write ever waits: Ctrl-C may come to any thread, at any
// time. Returns 0 or errno.
int WriteToOutput(std::string_view text, Console::AfterInterrupt after)
{
    constexpr std::size_t kPiece = PIPE_BUF;
    constexpr int kPatience = 100;   // milliseconds without a reader, after which an interruption is looked for
    while (!text.empty())
    {
        pollfd output = {STDOUT_FILENO, POLLOUT, 0};
        const int ready = ::poll(&output, 1, kPatience);
        if (IsInterrupted() && (ready == 0 || after == Console::AfterInterrupt::Stop))
            throw CancelledException();
        if (ready <= 0)
        {
            if (ready < 0 && errno != EINTR)
                return errno;
            continue;
        }
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), std::min(text.size(), kPiece));
        if (count >= 0)
            text.remove_prefix(static_cast<std::size_t>(count));
        else if (errno != EINTR && errno != EAGAIN)
            return errno;
    }
    return 0;
}

class StandardErrorLog : public ILogSink
{
public:
    explicit StandardErrorLog(bool isVerbose) : m_isVerbose(isVerbose) {}

    void Write(const LogRecord& record) override
    {
        if (!record.isError && record.severity < LogSeverity::Warning && !m_isVerbose)
            return;
        std::string line = record.isError ? "error: " : record.severity == LogSeverity::Warning ? "warning: " : "";
        line += record.message.ToUTF8();
        if (record.fields != nullptr)
            for (const auto& [key, value] : *record.fields)
                line.append(" ").append(key.ToUTF8()).append("=").append(Shortened(value.ToUTF8(), kMostOfField));
        Console::Complain(line);
    }

private:
    static constexpr std::size_t kMostOfField = 1000;   // characters: one may be the body of a reply

    bool m_isVerbose;
};

class StandardErrorMetrics : public IMetricsSink
{
public:
    void Write(const MetricsRecord& record) override
    {
        const double milliseconds = std::chrono::duration<double, std::milli>(record.elapsed).count();
        std::string line = TString(record.name).ToUTF8() + " took " + FixedNumber(milliseconds, 1) + " ms";
        for (const auto& [key, value] : record.facts)
            line.append(" ").append(key.ToUTF8()).append("=").append(value.ToUTF8());
        Console::Complain(line);
    }
};

}   // namespace

void Console::Print(std::string_view text, AfterInterrupt after)
{
    static const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;   // the one of the bar, as far as anybody can tell
    const std::lock_guard outputLock(g_outputMutex);
    // A bar that stands elsewhere moves on while this waits for a reader.
    std::unique_lock lock(g_mutex, std::defer_lock);
    if (isTerminal)
    {
        lock.lock();
        EraseBar();
        std::fflush(stderr);
    }
    const int reason = WriteToOutput(text, after);
    if (isTerminal)
        DrawBar();
    if (reason != 0)
        throw std::runtime_error(std::string("cannot write to the standard output: ") + std::strerror(reason));
}

void Console::Complain(std::string_view text)
{
    const std::lock_guard lock(g_mutex);
    EraseBar();
    const std::string line = "brv: " + Printable(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    DrawBar();
}

void Console::ComplainAbout(std::string_view file, std::string_view text)
{
    Complain(Located(file, 0, text));
}

void Console::ShowBar(double fraction, std::string_view label)
{
    constexpr int kWidth = 30;
    const auto filled = static_cast<std::size_t>(std::lround(fraction * kWidth));
    std::string bar(1, '[');
    bar.append(filled, '#').append(kWidth - filled, '.').append("] ").append(Printable(label));
    ReplaceBar(bar);
}

void Console::ShowActivity(std::string_view label)
{
    ReplaceBar(Printable(label));
}

void Console::HideBar()
{
    const std::lock_guard lock(g_mutex);
    EraseBar();
    std::fflush(stderr);
    g_bar.clear();
}

void ConsoleProgress::ReportProgress(double fraction, const TString& step)
{
    Console::ShowBar(fraction, step.ToUTF8());
}

ByteProgress::~ByteProgress()
{
    if (m_shownPercent > 0)
        Console::HideBar();
}

void ByteProgress::Show(std::uint64_t doneB)
{
    const std::uint64_t percent = m_totalB == 0 ? 0 : std::min(doneB, m_totalB) / (m_totalB / 100 + 1);
    if (percent <= m_shownPercent)
        return;
    m_shownPercent = percent;
    Console::ShowBar(static_cast<double>(percent) / 100.0, m_label);
}

void InstallSinks(LogDetail detail)
{
    if (detail == LogDetail::Nothing)
        return;
    const bool isVerbose = detail == LogDetail::Everything;
    SetLogSink(std::make_shared<StandardErrorLog>(isVerbose));
    if (isVerbose)
        SetMetricsSink(std::make_shared<StandardErrorMetrics>());
}
