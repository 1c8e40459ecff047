#pragma once

#include "brvcore/foundation/LogMessage.h"

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

// Collects what is logged while it lives, as "Warning: message" in UTF-8, and puts the sink before it back.
class CapturedLog
{
public:
    CapturedLog() : m_sink(std::make_shared<Sink>()), m_previous(SetLogSink(m_sink)) {}
    ~CapturedLog() { SetLogSink(std::move(m_previous)); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> GetMessages() const
    {
        const std::lock_guard lock(m_sink->mutex);
        return m_sink->messages;
    }

private:
    struct Sink : ILogSink
    {
        void Write(const LogRecord& record) override
        {
            const std::lock_guard lock(mutex);
            messages.push_back(NameOf(record) + ": " + record.message.ToUTF8());
        }
        static std::string NameOf(const LogRecord& record)
        {
            if (record.isError)
                return record.errorSeverity == LogErrorSeverity::Fatal ? "Fatal" : "Error";
            return record.severity == LogSeverity::Debug  ? "Debug"
                   : record.severity == LogSeverity::Info ? "Info"
                                                          : "Warning";
        }
        std::mutex mutex;
        std::vector<std::string> messages;
    };

    std::shared_ptr<Sink> m_sink;
    std::shared_ptr<ILogSink> m_previous;
};
