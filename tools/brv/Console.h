#pragma once

#include "brvcore/foundation/IProgressReporter.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

// The program's two output streams, which may be the same terminal. A progress bar stands at the end of the standard error
// while it is shown, only when that is a terminal, and steps aside for whatever else is written. The bar and what is
// complained of show control characters as \xNN. Any thread may call.
namespace Console
{

enum class AfterInterrupt
{
    Stop,     // at once
    Finish,   // as long as somebody reads: the end of a document that has begun
};

// On the standard output. Throws std::runtime_error when that cannot be written, and CancelledException on Ctrl-C, also
// when it waits for a reader.
void Print(std::string_view text, AfterInterrupt after = AfterInterrupt::Stop);
// "brv: text" and a line end on the standard error.
void Complain(std::string_view text);
// The same about a file.
void ComplainAbout(std::string_view file, std::string_view text);
void ShowBar(double fraction, std::string_view label);
// The label alone, in the place of the bar: work whose length nobody knows.
void ShowActivity(std::string_view label);
void HideBar();

}   // namespace Console

// Shows progress as the bar, and takes it away at the end.
class ConsoleProgress : public IProgressReporter
{
public:
    ConsoleProgress() = default;
    ~ConsoleProgress() override { Console::HideBar(); }
    ConsoleProgress(const ConsoleProgress&) = delete;
    ConsoleProgress& operator=(const ConsoleProgress&) = delete;

    void ReportProgress(double fraction, const TString& step) override;
};

// The bar of bytes that are read or written one after the other, taken away at the end. One object serves one thread.
class ByteProgress
{
public:
    // For a total of 0, as of what nobody knows, it shows nothing.
    ByteProgress(std::string label, std::uint64_t totalB) : m_label(std::move(label)), m_totalB(totalB) {}
    ~ByteProgress();
    ByteProgress(const ByteProgress&) = delete;
    ByteProgress& operator=(const ByteProgress&) = delete;

    void Show(std::uint64_t doneB);

private:
    std::string m_label;
    std::uint64_t m_totalB;
    std::uint64_t m_shownPercent = 0;
};

enum class LogDetail
{
    Nothing,
    Problems,     // warnings and errors
    Everything,   // with the metrics
};

// Sends the library's log to the standard error.
void InstallSinks(LogDetail detail);
