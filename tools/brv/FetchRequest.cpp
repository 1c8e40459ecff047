#include "FetchRequest.h"

#include "Failure.h"
#include "brvcore/foundation/TIO.h"
#include "brvcore/network/HttpStatusPolicies.h"

#include <cmath>
#include <filesystem>
#include <memory>
#include <system_error>

namespace
{

constexpr int kPassingStatuses[] = {429, 500, 502, 503, 504};   // which a server may get over

// A path that is no file (a pipe, a folder) has no length to announce, and cannot be sent again.
void CheckIsFile(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error))
        return;
    throw DataError(0, error ? "cannot be opened: " + error.message() : "is not a file", path);
}

HTTPRequest::FileInfo OpenUpload(const std::string& path)
{
    CheckIsFile(path);
    HTTPRequest::FileInfo file;
    const TPath name{std::filesystem::path(path)};
    file.fileName = name.GetFileName();
    try
    {
        file.content = std::make_shared<TFileIO>(name, TFileIO::Mode::Read);
    }
    catch (const std::system_error& error)
    {
        throw DataError(0, "cannot be opened: " + error.code().message(), path);
    }
    return file;
}

}   // namespace

std::string MethodOf(const FetchOptions& options)
{
    if (!options.method.empty())
        return options.method;
    return options.data.empty() && options.files.empty() ? "GET" : "POST";
}

HTTPRequest::RequestInfo MakeRequestInfo(const FetchOptions& options)
{
    HTTPRequest::RequestInfo info(options.isCompressed);
    for (const auto& [name, value] : options.headers)
        info.SetHeader(TString::FromUTF8(name), TString::FromUTF8(value));
    for (const auto& [name, value] : options.data)
        info.SetParameter(TString::FromUTF8(name), TString::FromUTF8(value));
    for (const auto& [field, path] : options.files)
        info.SetFile(TString::FromUTF8(field), OpenUpload(path));
    if (!options.caFile.empty())
    {
        CheckIsFile(options.caFile);
        info.SetCAFile(TPath(std::filesystem::path(options.caFile)));
    }
    if (options.timeoutSeconds)
        info.SetOperationTimeout(static_cast<int>(std::ceil(*options.timeoutSeconds * 1000.0)));
    if (options.isRetrying)
    {
        const auto policy = ExponentialBackoffRetryPolicy::Create();   // one: its tries are the request's
        for (const int status : kPassingStatuses)
            info.SetPolicyForHttpStatusCode(status, policy);
    }
    return info;
}
