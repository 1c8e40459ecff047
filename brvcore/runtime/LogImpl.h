#pragma once

#include "brvcore/foundation/BrvExport.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/TPath.h"
#include "brvcore/runtime/LogFileChannels.h"

#include <cstddef>
#include <cstdint>
#include <memory>

// What a host sets its logging up with.
//
//     auto channel = LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(TPath(u"/var/log/app/app.log"), 10'000'000, 5);
//     if (const std::error_code error = channel->Open())
//         ...
//     SetLogSink(LogImpl::CreateFileSink(std::move(channel)));
namespace LogImpl
{

// A channel of files of `size` bytes that keeps the newest `maxFiles`, or all for 0. It is not open yet.
BRV_EXPORT std::unique_ptr<TLog::SizeBasedRotateAndDeleteFileChannel> CreateSizeBasedRotateAndDeleteFileChannel(
    TPath path, std::size_t size, std::uint64_t maxFiles);

// A sink that writes every record into the channel, as one line.
BRV_EXPORT std::shared_ptr<ILogSink> CreateFileSink(std::shared_ptr<TLog::RotateFileChannel> channel);

}   // namespace LogImpl
