#include "brvcore/network/BulkHTTPRequestor.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogicException.h"
#include "brvcore/foundation/ThreadContext.h"
#include "brvcore/network/BufferQueue.h"
#include "brvcore/network/TNetworkReply.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

// What the consumer's thread and the worker's share. The sink is the worker's side of it.
struct BulkHTTPRequestor::Worker final : IBodySink
{
    Worker(std::size_t size, std::size_t queueLength) : bufferSize(size), queue(queueLength) {}

    void Write(const char* bytes, std::size_t size) override;
    // See CanTakeBodyBack().
    void Rewind() override {}
    void Flush();

    const std::size_t bufferSize;
    BufferQueue queue;
    std::string pending;   // of the worker: not yet full

    std::thread thread;   // of the consumer
    bool isStarted = false;
    std::atomic<std::thread::id> id;
    std::atomic<bool> isDone{false};
    std::map<TString, TString> context;   // of the thread that started the worker

    mutable std::mutex mutex;
    TString errorString;
};

void BulkHTTPRequestor::Worker::Write(const char* bytes, std::size_t size)
{
    while (size != 0)
    {
        if (pending.capacity() < bufferSize)
        {
            pending = queue.TakeSpare();
            pending.reserve(bufferSize);
        }
        const std::size_t piece = std::min(size, bufferSize - pending.size());
        pending.append(bytes, piece);
        bytes += piece;
        size -= piece;
        if (pending.size() == bufferSize)
            Flush();
    }
}

void BulkHTTPRequestor::Worker::Flush()
{
    if (!pending.empty() && !queue.Push(std::exchange(pending, std::string())))
        throw CancelledException();
}

BulkHTTPRequestor::BulkHTTPRequestor(const TString& url, const TString& verb, HTTPRequest::RequestInfo info,
    HTTPRequest::InfiniteTimeout infiniteTimeout, std::size_t bufferSize, std::size_t queueLength)
    : HTTPRequestor(url, verb, std::move(info), infiniteTimeout)
{
    BRV_LOGIC_ASSERT(0x1CD08B47, bufferSize > 0 && queueLength > 0);
    m_worker = std::make_unique<Worker>(bufferSize, queueLength);
}

BulkHTTPRequestor::~BulkHTTPRequestor()
{
    Stop();
}

void BulkHTTPRequestor::Stop() noexcept
{
    if (m_worker->isStarted && !m_worker->isDone)
        Cancel();
    JoinWorker();
}

std::size_t BulkHTTPRequestor::GetBufferSize() const noexcept
{
    return m_worker->bufferSize;
}

IBodySink& BulkHTTPRequestor::GetBodySink()
{
    return *m_worker;
}

// --- The consumer's thread --------------------------------------------------------------------------------------------

void BulkHTTPRequestor::Start(bool withProgress)
{
    if (m_worker->isStarted)
        return;
    m_worker->context = ThreadContext::GetAll();
    m_worker->thread = std::thread([this, withProgress] { RunWorker(withProgress); });
    m_worker->isStarted = true;
}

bool BulkHTTPRequestor::GetNextBuffer(std::string& buffer)
{
    constexpr std::chrono::milliseconds kPatience{100};   // between two looks at the host's cancellation
    Start();
    CancellationChecker checker(1);
    for (;;)
    {
        try
        {
            checker.ThrowIfCancelled();
        }
        catch (...)
        {
            Cancel();
            throw;
        }
        switch (m_worker->queue.Pop(buffer, kPatience))
        {
        case BufferQueue::Outcome::Buffer:
            return true;
        case BufferQueue::Outcome::Nothing:
            break;
        case BufferQueue::Outcome::End:
            if (!IsCancelled() || !ShouldOrphanOnCancel())
                JoinWorker();
            CheckExceptions();
            if (m_worker->queue.IsAborted())   // the transfer was complete, what waited was not read
                throw CancelledException();
            return false;
        }
    }
}

TString BulkHTTPRequestor::GetErrorString() const
{
    const std::lock_guard lock(m_worker->mutex);
    return m_worker->errorString;
}

void BulkHTTPRequestor::JoinWorker() noexcept
{
    if (m_worker->thread.joinable())
        m_worker->thread.join();
}

void BulkHTTPRequestor::OnCancel() noexcept
{
    m_worker->queue.Abort();
}

// --- The worker's thread ----------------------------------------------------------------------------------------------

void BulkHTTPRequestor::RunWorker(bool withProgress) noexcept
{
    m_worker->id = std::this_thread::get_id();
    try
    {
        std::deque<ThreadContextScope> facts;
        for (const auto& [key, value] : m_worker->context)
            facts.emplace_back(key, value);
        TryExecute(withProgress);
    }
    catch (...)
    {
        KeepException(std::current_exception());
    }
    SetQueueAtEnd();
}

bool BulkHTTPRequestor::IsExecutedElsewhere() const noexcept
{
    return m_worker->isStarted;
}

// On any other thread than the worker's, executing a request of this kind is to start it.
void BulkHTTPRequestor::DoWork()
{
    if (std::this_thread::get_id() == m_worker->id.load())
        HTTPRequestor::DoWork();
    else
        Start(IsWithProgress());
}

// The last buffer, of a broken transfer too: what arrived is read before the failure is thrown.
void BulkHTTPRequestor::SetQueueAtEnd() noexcept
{
    try
    {
        SaveErrorString();
        m_worker->Flush();
    }
    catch (...)
    {
        if (!IsCancelled())
            KeepException(std::current_exception());
    }
    m_worker->isDone = true;
    m_worker->queue.SetAtEnd();
}

void BulkHTTPRequestor::SaveErrorString()
{
    if (TNetworkReply::IsSuccessStatus(GetStatusCode()))
        return;
    TString text = TString::FromUTF8(GetResponseData());
    const std::lock_guard lock(m_worker->mutex);
    m_worker->errorString = std::move(text);
}
