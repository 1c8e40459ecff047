#pragma once

#include "brvcore/foundation/BrvErrors.h"
#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/TError.h"

#include <exception>
#include <memory>
#include <string>

// Thrown on a violated invariant or a bad argument. Carries the error (site code and message), the source name of the
// family that raised it, the line and the function. what() is "message" in UTF-8. Copying shares the state and cannot throw.
class BRV_EXPORT LogicException : public std::exception
{
public:
    LogicException(const char* file, int line, const char* function, const BrevionError& error);

    LogicException(const LogicException&) noexcept = default;   // a move copies: no exception is ever without its state
    LogicException& operator=(const LogicException&) noexcept = default;

    const char* what() const noexcept override;

    const TError::ErrorInfo& GetErrorInfo() const noexcept;
    const BrevionError& GetError() const noexcept { return GetErrorInfo().GetError(); }
    const std::string& GetFile() const noexcept;
    int GetLine() const noexcept;
    const std::string& GetFunction() const noexcept;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};

[[noreturn]] BRV_EXPORT void ThrowLogicException(
    const char* file, int line, const char* function, const BrevionError& error);

// Throws LogicException with the condition, as written, for its message unless the condition holds. Name the variables so
// that the condition reads well to someone who sees only the log.
#define BRV_LOGIC_ASSERT(code, ...)                                                                                    \
    do                                                                                                                 \
    {                                                                                                                  \
        if (!(__VA_ARGS__)) [[unlikely]]                                                                               \
            ThrowLogicException(BrvErrorsError::Site_##code::kSource, __LINE__, __func__,                              \
                BrvErrorsError::LogicAssert_##code(u"" #__VA_ARGS__));                                                 \
    } while (false)

// Throws LogicException with the given text.
#define BRV_LOGIC_ERROR(code, text)                                                                                    \
    ThrowLogicException(                                                                                               \
        BrvErrorsError::Site_##code::kSource, __LINE__, __func__, BrvErrorsError::LogicAssert_##code(text))
