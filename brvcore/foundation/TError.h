#pragma once

#include "brvcore/foundation/BrevionError.h"

#include <cstdint>
#include <utility>

namespace TError
{

// Where an error was first seen. A host chooses by it which log and which dialogue an error belongs to.
enum class ErrorSource : std::uint8_t
{
    None,
    Library,   // raised by this library
    Host,      // raised by the program that loads it
    Remote,    // reported by the other end of a connection
};

// What an exception carries: the error, its source, and the status of the remote call behind it (0 without one).
class ErrorInfo
{
public:
    ErrorInfo() = default;
    explicit ErrorInfo(BrevionError error, ErrorSource source = ErrorSource::Library, std::int32_t remoteStatus = 0)
        : m_error(std::move(error)), m_source(source), m_remoteStatus(remoteStatus)
    {
    }

    static ErrorInfo NoError() { return {}; }

    const BrevionError& GetError() const noexcept { return m_error; }
    ErrorSource GetSource() const noexcept { return m_source; }
    std::int32_t GetRemoteStatus() const noexcept { return m_remoteStatus; }
    bool IsError() const noexcept { return m_error.IsError(); }

    friend bool operator==(const ErrorInfo&, const ErrorInfo&) = default;

private:
    BrevionError m_error;
    ErrorSource m_source = ErrorSource::None;
    std::int32_t m_remoteStatus = 0;
};

}   // namespace TError
