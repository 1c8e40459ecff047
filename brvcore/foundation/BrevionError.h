#pragma once

#include "brvcore/foundation/TString.h"

#include <cstdint>
#include <utility>

// An error as a value: a 32-bit code, unique to the place that reports it, and a message for people.
// Code 0 with an empty message means that there is no error. A plain value; copies share the message's storage.
class BrevionError
{
public:
    BrevionError() = default;

    static BrevionError MakeError(std::uint32_t code, TString message)
    {
        BrevionError error;
        error.m_code = code;
        error.m_message = std::move(message);
        return error;
    }

    std::uint32_t GetCode() const noexcept { return m_code; }
    const TString& GetMessage() const noexcept { return m_message; }
    bool IsError() const noexcept { return m_code != 0; }

    friend bool operator==(const BrevionError&, const BrevionError&) = default;

private:
    std::uint32_t m_code = 0;
    TString m_message;
};
