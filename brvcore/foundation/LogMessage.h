#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TError.h"
#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <map>
#include <memory>

// Severities come in two kinds. The non-error levels are ordered; a sink of errors may open a report or count them.
enum class LogSeverity : std::uint8_t
{
    Debug = 1,
    Info = 2,
    Warning = 3,
};

enum class LogErrorSeverity : std::uint8_t
{
    Error = 1,
    Fatal = 2,
};

using LogFields = std::map<TString, TString>;

// One log line as a sink receives it, valid during the call. `fields` and `error` are null when the caller gave none.
struct LogRecord
{
    bool isError = false;
    LogSeverity severity = LogSeverity::Info;                   // of a record that is no error
    LogErrorSeverity errorSeverity = LogErrorSeverity::Error;   // of one that is
    const TString& message;
    const LogFields* fields = nullptr;
    const TError::ErrorInfo* error = nullptr;
};

// Where log lines go. Write() is called on the thread that logs, on several at once.
class BRV_EXPORT ILogSink
{
public:
    virtual ~ILogSink();
    virtual void Write(const LogRecord& record) = 0;
};

// Installs the process's sink and returns the one before it; null (the state at the start) turns logging off. May be
// called while other threads log: a line that has begun goes to the old sink, which lives until then.
BRV_EXPORT std::shared_ptr<ILogSink> SetLogSink(std::shared_ptr<ILogSink> sink);
// True when a sink is installed. Lets a caller skip building a costly message; a single relaxed load.
BRV_EXPORT bool IsLogging() noexcept;

// Hand a line to the sink. They never throw: what a sink throws is dropped.
BRV_EXPORT void LogMessage(LogSeverity severity, const TString& message) noexcept;
BRV_EXPORT void LogMessage(LogSeverity severity, const TString& message, const LogFields& fields) noexcept;
BRV_EXPORT void LogMessage(LogSeverity severity, const TString& message, const TError::ErrorInfo& error) noexcept;
BRV_EXPORT void LogMessage(
    LogSeverity severity, const TString& message, const LogFields& fields, const TError::ErrorInfo& error) noexcept;
BRV_EXPORT void LogMessage(LogErrorSeverity severity, const TString& message) noexcept;
BRV_EXPORT void LogMessage(LogErrorSeverity severity, const TString& message, const LogFields& fields) noexcept;
BRV_EXPORT void LogMessage(LogErrorSeverity severity, const TString& message, const TError::ErrorInfo& error) noexcept;
BRV_EXPORT void LogMessage(LogErrorSeverity severity, const TString& message, const LogFields& fields,
    const TError::ErrorInfo& error) noexcept;
