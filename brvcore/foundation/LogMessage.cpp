#include "brvcore/foundation/LogMessage.h"

#include "brvcore/foundation/HostSlot.h"

#include <utility>

namespace
{

// Never destroyed: other static objects may log while the process ends.
HostSlot<ILogSink>& Slot()
{
    static auto* const slot = new HostSlot<ILogSink>;
    return *slot;
}

void Write(const LogRecord& record) noexcept
{
    try
    {
        if (const std::shared_ptr<ILogSink> sink = Slot().Get())
            sink->Write(record);
    }
    catch (...)   // logging never disturbs the work it tells about
    {
    }
}

LogRecord Line(LogSeverity severity, const TString& message, const LogFields* fields, const TError::ErrorInfo* error)
{
    return {.severity = severity, .message = message, .fields = fields, .error = error};
}

LogRecord Line(
    LogErrorSeverity severity, const TString& message, const LogFields* fields, const TError::ErrorInfo* error)
{
    return {.isError = true, .errorSeverity = severity, .message = message, .fields = fields, .error = error};
}

}   // namespace

ILogSink::~ILogSink() = default;

std::shared_ptr<ILogSink> SetLogSink(std::shared_ptr<ILogSink> sink)
{
    return Slot().Exchange(std::move(sink));
}

bool IsLogging() noexcept
{
    return Slot().IsSet();
}

void LogMessage(LogSeverity severity, const TString& message) noexcept
{
    Write(Line(severity, message, nullptr, nullptr));
}

void LogMessage(LogSeverity severity, const TString& message, const LogFields& fields) noexcept
{
    Write(Line(severity, message, &fields, nullptr));
}

void LogMessage(LogSeverity severity, const TString& message, const TError::ErrorInfo& error) noexcept
{
    Write(Line(severity, message, nullptr, &error));
}

void LogMessage(
    LogSeverity severity, const TString& message, const LogFields& fields, const TError::ErrorInfo& error) noexcept
{
    Write(Line(severity, message, &fields, &error));
}

void LogMessage(LogErrorSeverity severity, const TString& message) noexcept
{
    Write(Line(severity, message, nullptr, nullptr));
}

void LogMessage(LogErrorSeverity severity, const TString& message, const LogFields& fields) noexcept
{
    Write(Line(severity, message, &fields, nullptr));
}

void LogMessage(LogErrorSeverity severity, const TString& message, const TError::ErrorInfo& error) noexcept
{
    Write(Line(severity, message, nullptr, &error));
}

void LogMessage(
    LogErrorSeverity severity, const TString& message, const LogFields& fields, const TError::ErrorInfo& error) noexcept
{
    Write(Line(severity, message, &fields, &error));
}
