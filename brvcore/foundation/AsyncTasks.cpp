#include "brvcore/foundation/AsyncTasks.h"

#include "brvcore/foundation/CancellationChecker.h"
#include "brvcore/foundation/LogMessage.h"
#include "brvcore/foundation/LogicException.h"

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <utility>

namespace
{

// One lent executor and what it still has to do. Counted are the tasks, until their closures are destroyed, and the calls
// of Schedule(), so that an idle executor is used by nobody.
class Loan
{
public:
    explicit Loan(std::shared_ptr<ITaskExecutor> executor) : m_executor(std::move(executor)) {}

    ITaskExecutor& GetExecutor() const { return *m_executor; }

    void Begin()
    {
        const std::lock_guard lock(m_mutex);
        ++m_pending;
    }
    void End()
    {
        const std::lock_guard lock(m_mutex);
        if (--m_pending == 0)
            m_idle.notify_all();
    }
    void WaitUntilIdle()
    {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [this] { return m_pending == 0; });
    }
    // Waits until idle and hands the executor back. A worker may hold the loan for a moment longer; were the executor
    // still in it, the worker could be the one to destroy it, and would join itself.
    std::shared_ptr<ITaskExecutor> TakeBack()
    {
        WaitUntilIdle();
        return std::exchange(m_executor, nullptr);   // idle for good: no caller can reach the loan any more
    }

private:
    std::shared_ptr<ITaskExecutor> m_executor;
    std::mutex m_mutex;
    std::condition_variable m_idle;
    std::size_t m_pending = 0;
};

// Counts as one pending thing of a loan for as long as it lives.
class Pending
{
public:
    explicit Pending(std::shared_ptr<Loan> loan) : m_loan(std::move(loan)) { m_loan->Begin(); }
    ~Pending() { m_loan->End(); }
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;

private:
    std::shared_ptr<Loan> m_loan;
};

struct Current
{
    std::mutex mutex;
    std::shared_ptr<Loan> loan;
};

Current& TheCurrent()
{
    static auto* const current = new Current;   // a task may end while static objects are destroyed
    return *current;
}

void RunTask(const std::function<void()>& task) noexcept
{
    try
    {
        try
        {
            task();
        }
        catch (const CancelledException&)   // the host's own wish
        {
        }
        catch (const LogicException& exception)
        {
            LogMessage(LogErrorSeverity::Error, TString(u"AsyncTasks::Run: ") + exception.GetError().GetMessage(),
                exception.GetErrorInfo());
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
    catch (...)   // not even memory for the message
    {
    }
}

// A task in the hands of an executor. Whatever the task holds is destroyed before it counts as ended.
struct Job
{
    std::function<void()> task;
    std::shared_ptr<Pending> pending;   // shared only because a std::function is copied

    void operator()()
    {
        RunTask(task);
        task = nullptr;
        pending.reset();
    }
};

}   // namespace

ITaskExecutor::~ITaskExecutor() = default;

void AsyncTasks::SetExecutor(std::shared_ptr<ITaskExecutor> executor)
{
    std::shared_ptr<Loan> loan = executor ? std::make_shared<Loan>(std::move(executor)) : nullptr;
    {
        const std::lock_guard lock(TheCurrent().mutex);
        std::swap(TheCurrent().loan, loan);
    }
    if (loan)
        loan->TakeBack();
}

void AsyncTasks::Run(std::function<void()> task)
{
    std::shared_ptr<Loan> loan;
    std::shared_ptr<Pending> taskPending;
    std::shared_ptr<Pending> callPending;
    {
        const std::lock_guard lock(TheCurrent().mutex);
        loan = TheCurrent().loan;
        if (loan)   // counted under the lock: a loan that ends now waits for this task and this call
        {
            taskPending = std::make_shared<Pending>(loan);
            callPending = std::make_shared<Pending>(loan);
        }
    }
    if (!loan)
        RunTask(task);
    else
        loan->GetExecutor().Schedule(Job{std::move(task), std::move(taskPending)});
}

void AsyncTasks::WaitForAll()
{
    std::shared_ptr<Loan> loan;
    {
        const std::lock_guard lock(TheCurrent().mutex);
        loan = TheCurrent().loan;
    }
    if (loan)
        loan->WaitUntilIdle();
}
