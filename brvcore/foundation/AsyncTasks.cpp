#include "brvcore/foundation/AsyncTasks.h"

#include "brvcore/foundation/LogMessage.h"

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <utility>

namespace
{

struct Loan
{
    std::mutex mutex;
    std::condition_variable idle;
    std::shared_ptr<ITaskExecutor> executor;
    std::size_t pending = 0;
};

Loan& TheLoan()
{
    static auto* const loan = new Loan;   // a task may end while static objects are destroyed
    return *loan;
}

void RunTask(const std::function<void()>& task) noexcept
{
    try
    {
        task();
    }
    catch (const std::exception& exception)
    {
        LogMessage(LogErrorSeverity::Error, TString(u"AsyncTasks::Run: ") + TString::FromUTF8(exception.what()));
    }
    catch (...)
    {
        LogMessage(LogErrorSeverity::Error, TString(u"AsyncTasks::Run: unknown exception"));
    }
}

void EndTask()
{
    const std::lock_guard lock(TheLoan().mutex);
    if (--TheLoan().pending == 0)
        TheLoan().idle.notify_all();
}

}   // namespace

ITaskExecutor::~ITaskExecutor() = default;

void AsyncTasks::SetExecutor(std::shared_ptr<ITaskExecutor> executor)
{
    std::shared_ptr<ITaskExecutor> old;
    {
        const std::lock_guard lock(TheLoan().mutex);
        old = std::exchange(TheLoan().executor, std::move(executor));
    }
    WaitForAll();
}

void AsyncTasks::Run(std::function<void()> task)
{
    std::shared_ptr<ITaskExecutor> executor;
    {
        const std::lock_guard lock(TheLoan().mutex);
        executor = TheLoan().executor;
        if (executor)
            ++TheLoan().pending;   // under the lock: a loan that ends now waits for this task
    }
    if (!executor)
    {
        RunTask(task);
        return;
    }
    try
    {
        executor->Schedule(
            [task = std::move(task)]
            {
                RunTask(task);
                EndTask();
            });
    }
    catch (...)
    {
        EndTask();
        throw;
    }
}

void AsyncTasks::WaitForAll()
{
    std::unique_lock lock(TheLoan().mutex);
    TheLoan().idle.wait(lock, [] { return TheLoan().pending == 0; });
}
