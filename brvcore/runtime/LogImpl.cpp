#include "brvcore/runtime/LogImpl.h"

#include <utility>

namespace
{

class FileSink final : public ILogSink
{
public:
    explicit FileSink(std::shared_ptr<TLog::RotateFileChannel> channel) : m_channel(std::move(channel)) {}
    void Write(const LogRecord& record) override { m_channel->Log(record); }

private:
    std::shared_ptr<TLog::RotateFileChannel> m_channel;
};

}   // namespace

std::unique_ptr<TLog::SizeBasedRotateAndDeleteFileChannel> LogImpl::CreateSizeBasedRotateAndDeleteFileChannel(
    TPath path, std::size_t size, std::uint64_t maxFiles)
{
    return std::make_unique<TLog::SizeBasedRotateAndDeleteFileChannel>(std::move(path), size, maxFiles);
}

std::shared_ptr<ILogSink> LogImpl::CreateFileSink(std::shared_ptr<TLog::RotateFileChannel> channel)
{
    return std::make_shared<FileSink>(std::move(channel));
}
