#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

class HTTPRequestor;

// What a request does on one HTTP status. Called on the thread that executes the request, after the whole reply is there:
// the requestor gives its status, headers, body (the first 16 MiB) and effective URL.
class BRV_EXPORT IHttpStatusHandlingPolicy
{
public:
    static constexpr int kRetry = 0;        // send the request again
    static constexpr int kNotHandled = 1;   // go on as if there were no policy

    virtual ~IHttpStatusHandlingPolicy();
    virtual int HandleHttpStatus(HTTPRequestor& requestor) = 0;
};

// Asks again after 1, 2, 4, 8, 16 and 32 seconds, then gives up. The count is the object's: create one for each request.
// The waits end at once when the request is cancelled. Safe from any thread.
class BRV_EXPORT ExponentialBackoffRetryPolicy : public IHttpStatusHandlingPolicy
{
public:
    static std::shared_ptr<ExponentialBackoffRetryPolicy> Create();

    int HandleHttpStatus(HTTPRequestor& requestor) override;

private:
    std::optional<std::chrono::milliseconds> TakeDelay();

    static constexpr int kRetries = 6;
    static constexpr std::chrono::milliseconds kFirstDelay{1000};

    std::mutex m_mutex;
    int m_retriesLeft = kRetries;
    std::chrono::milliseconds m_delay = kFirstDelay;
};

// A server that reports a lost race over a token ("ObjectOptimisticLockingFailureException" in the body) as another status:
// throws TokenAuthenticationException with code 404 when the request carries a token, otherwise does not handle it.
class BRV_EXPORT HandleTightTokenContentionPolicy : public IHttpStatusHandlingPolicy
{
public:
    int HandleHttpStatus(HTTPRequestor& requestor) override;
};

// Statuses 401 and 403 become AuthenticationException with the status and the host of the effective URL; other statuses
// are not handled.
class BRV_EXPORT TranslateAuthenticationErrorToExceptionPolicy : public IHttpStatusHandlingPolicy
{
public:
    int HandleHttpStatus(HTTPRequestor& requestor) override;
};
