#pragma once

#include "Options.h"
#include "brvcore/network/HTTPRequest.h"

#include <string>

// GET, or POST when there is something to send, unless the options say another.
std::string MethodOf(const FetchOptions& options);

// The request's headers, body and policies. Throws DataError for a file that cannot be read.
HTTPRequest::RequestInfo MakeRequestInfo(const FetchOptions& options);
