#pragma once

#include "brvcore/network/HTTPRequestor.h"
#include "brvcore/network/IBufferSource.h"

#include <cstddef>
#include <memory>
#include <string>

// The body arrives as buffers while the transfer runs on a worker thread. A few buffers wait in a queue; the transfer
// pauses while that is full, so that memory stays bounded whatever the body's size.
//
//     BulkHTTPRequestor requestor(u"https://example.org/large", u"GET");
//     requestor.Start();
//     for (std::string buffer; requestor.GetNextBuffer(buffer);)
//         Use(buffer);
//
// The data that arrived is delivered first, then the failure is thrown. The body of an error status never enters the queue.
// All calls but Cancel() belong to one thread, the consumer's. From the start on the request must not be changed, and of the
// reply only the status, the headers and the effective URL may be asked for; the rest when GetNextBuffer() has ended or
// thrown. Destruction cancels the transfer and waits for the worker, which ends within a quarter of a second whatever the
// server does. A policy registered for a success status makes the body wait in memory until the policy has spoken: 16 MiB
// at most, a longer one is a NetworkException.
//
// The worker calls virtual functions. A subclass that overrides any calls Stop() first of all in its destructor.
class BRV_EXPORT BulkHTTPRequestor : public HTTPRequestor, public IBufferSource
{
public:
    static constexpr std::size_t kDefaultBufferSize = 64 * 1024;
    static constexpr std::size_t kDefaultQueueLength = 16;

    // Throws LogicException 0x1CD08B47 "bufferSize > 0 && queueLength > 0".
    BulkHTTPRequestor(const TString& url, const TString& verb,
        HTTPRequest::RequestInfo info = HTTPRequest::RequestInfo(),
        HTTPRequest::InfiniteTimeout infiniteTimeout = HTTPRequest::InfiniteTimeout::No,
        std::size_t bufferSize = kDefaultBufferSize, std::size_t queueLength = kDefaultQueueLength);
    ~BulkHTTPRequestor() override;

    // Starts the transfer and returns; the first GetNextBuffer() does so too, and ExecuteWithProgress() and ExecuteImpl().
    // An object transfers once; further calls do nothing. The worker sees the thread context of the thread that starts it.
    // Throws std::system_error when there is no thread to be had.
    void Start(bool withProgress = false);
    // All buffers but the last are full. Polls the calling thread's cancellation, which then cancels the transfer. A cancel
    // drops the buffers that wait. The room of the passed string is used again: pass the same one each time.
    bool GetNextBuffer(std::string& buffer) override;
    std::size_t GetBufferSize() const noexcept override;

    // What the server said with an error status; empty without one. Complete once GetNextBuffer() has thrown.
    TString GetErrorString() const;

protected:
    void DoWork() override;
    // Cancels the transfer if it runs, and waits for the worker.
    void Stop() noexcept;

private:
    struct Worker;

    IBodySink& GetBodySink() override;
    bool CanTakeBodyBack() const noexcept override { return false; }
    bool IsExecutedElsewhere() const noexcept override;
    void OnCancel() noexcept override;
    void RunWorker(bool withProgress) noexcept;
    void JoinWorker() noexcept;
    void SetQueueAtEnd() noexcept;
    void SaveErrorString();

    std::unique_ptr<Worker> m_worker;
};
