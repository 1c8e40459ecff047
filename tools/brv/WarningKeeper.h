#pragma once

#include "brvcore/foundation/LogMessage.h"

#include <memory>

// Keeps the library's warnings to itself while it lives, for a command that tells a failure in its own words; the rest goes
// on to the sink that was there before.
class WarningKeeper
{
public:
    WarningKeeper();
    ~WarningKeeper();
    WarningKeeper(const WarningKeeper&) = delete;
    WarningKeeper& operator=(const WarningKeeper&) = delete;

    // Of the last warning; none when there was no warning, or one without.
    LogFields GetFields() const;

private:
    class Sink;

    std::shared_ptr<ILogSink> m_previous;
    std::shared_ptr<Sink> m_sink;
};
