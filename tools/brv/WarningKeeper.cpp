#include "WarningKeeper.h"

#include <mutex>

class WarningKeeper::Sink : public ILogSink
{
public:
    explicit Sink(std::shared_ptr<ILogSink> next) : m_next(std::move(next)) {}

    void Write(const LogRecord& record) override
    {
        if (record.isError || record.severity < LogSeverity::Warning)
        {
            if (m_next != nullptr)
                m_next->Write(record);
            return;
        }
        const std::lock_guard lock(m_mutex);
        m_fields = record.fields != nullptr ? *record.fields : LogFields();
    }
    LogFields GetFields() const
    {
        const std::lock_guard lock(m_mutex);
        return m_fields;
    }

private:
    std::shared_ptr<ILogSink> m_next;
    mutable std::mutex m_mutex;
    LogFields m_fields;
};

WarningKeeper::WarningKeeper() : m_previous(SetLogSink(nullptr)), m_sink(std::make_shared<Sink>(m_previous))
{
    SetLogSink(m_sink);
}

WarningKeeper::~WarningKeeper()
{
    SetLogSink(m_previous);
}

LogFields WarningKeeper::GetFields() const
{
    return m_sink->GetFields();
}
