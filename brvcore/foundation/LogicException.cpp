#include "brvcore/foundation/LogicException.h"

struct LogicException::State
{
    std::string what;
    std::string file;
    std::string function;
    int line;
    TError::ErrorInfo info;
};

LogicException::LogicException(const char* file, int line, const char* function, const BrevionError& error)
    : m_state(std::make_shared<const State>(
          State{error.GetMessage().ToUTF8(), file, function, line, TError::ErrorInfo(error)}))
{
}

const char* LogicException::what() const noexcept
{
    return m_state->what.c_str();
}

const TError::ErrorInfo& LogicException::GetErrorInfo() const noexcept
{
    return m_state->info;
}

const std::string& LogicException::GetFile() const noexcept
{
    return m_state->file;
}

int LogicException::GetLine() const noexcept
{
    return m_state->line;
}

const std::string& LogicException::GetFunction() const noexcept
{
    return m_state->function;
}

void ThrowLogicException(const char* file, int line, const char* function, const BrevionError& error)
{
    throw LogicException(file, line, function, error);
}
