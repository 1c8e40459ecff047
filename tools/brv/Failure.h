#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// How the program ends.
enum class ExitCode : int
{
    Success = 0,
    Other = 1,           // the machine or the program: nothing wrong with the request
    Usage = 2,           // the command line
    Data = 3,            // the input
    HttpStatus = 4,      // a server's answer that is no success
    Transport = 5,       // no answer, or none that is whole
    Refused = 6,         // by rules on network addresses
    Limits = 7,          // a folder that could not be brought within its limits
    Interrupted = 130,   // 128 + SIGINT, as shells expect
};

// A command line that cannot be carried out.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Something in the input that cannot be used. The line counts from 1; 0 means the file as a whole. Without a file it is
// the first one of the command.
class DataError : public std::runtime_error
{
public:
    DataError(int line, const std::string& message, std::string file = {})
        : std::runtime_error(message), m_line(line), m_file(std::move(file))
    {
    }
    int GetLine() const noexcept { return m_line; }
    const std::string& GetFile() const noexcept { return m_file; }

private:
    int m_line;
    std::string m_file;
};

// A value as messages show it: in quotes, control characters as \xNN, at most 60 characters.
std::string Quoted(std::string_view value);

// "FILE:LINE: message", the line only where there is one.
std::string Located(std::string_view file, int line, std::string_view message);
