#pragma once

#include "brvcore/foundation/TString.h"

class HTTPRequestor;

// Decides what a reply's status means for its request.
class HttpStatusHandler
{
public:
    static constexpr int kRetry = 0;
    static constexpr int kDone = 1;

    // kRetry when the policy of that code asks for it, kDone for 200 to 299. Otherwise logs the failure, with the body, and
    // throws HTTPException. What a policy throws passes through.
    static int HandleHttpStatusCode(int code, HTTPRequestor& requestor);
};

// The host that answered, after redirects; empty before a reply.
TString GetReplyHost(const HTTPRequestor& requestor);
