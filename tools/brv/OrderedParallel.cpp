#include "OrderedParallel.h"

#include "Console.h"
#include "Failure.h"
#include "Interrupt.h"
#include "brvcore/foundation/CancellationChecker.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace
{

constexpr auto kInterruptPoll = std::chrono::milliseconds(20);
constexpr auto kPatience = std::chrono::milliseconds(200);   // for workers to notice an interruption

class Crew
{
public:
    Crew(std::size_t count, const std::function<void(std::size_t)>& work) : m_work(work), m_isDone(count, false)
    {
        const std::size_t threads = std::min<std::size_t>(count, std::max(1U, std::thread::hardware_concurrency()));
        m_running = threads;
        m_threads.reserve(threads);
        try
        {
            while (m_threads.size() < threads)
                m_threads.emplace_back([this] { Work(); });
        }
        catch (const std::system_error&)   // no more threads to be had: those that run do the work
        {
            if (m_threads.empty())
                throw;
            const std::lock_guard lock(m_mutex);
            m_running -= threads - m_threads.size();
        }
    }
    ~Crew()
    {
        m_stop = true;
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    // Waits until piece i is done, or something else happened: true when done. Throws what a piece threw.
    bool Wait(std::size_t i, std::size_t& finished)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, kInterruptPoll, [&] { return m_isDone[i] || m_failure || m_finished != finished; });
        if (m_failure)
            std::rethrow_exception(m_failure);
        finished = m_finished;
        return m_isDone[i];
    }
    bool WaitForEnd(std::chrono::milliseconds patience)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, patience, [&] { return m_running == 0; });
    }

private:
    void Work()
    {
        const CancellationScope scope([this] { return IsInterrupted() || m_stop; });
        try
        {
            for (std::size_t i = m_next++; i < m_isDone.size() && !IsInterrupted() && !m_stop; i = m_next++)
            {
                m_work(i);
                const std::lock_guard lock(m_mutex);
                m_isDone[i] = true;
                ++m_finished;
                m_changed.notify_all();
            }
        }
        catch (const CancelledException&)
        {
        }
        catch (...)
        {
            m_stop = true;
            const std::lock_guard lock(m_mutex);
            m_failure = std::current_exception();
        }
        const std::lock_guard lock(m_mutex);
        --m_running;
        m_changed.notify_all();
    }

    const std::function<void(std::size_t)>& m_work;
    std::atomic<std::size_t> m_next = 0;
    std::atomic<bool> m_stop = false;
    std::mutex m_mutex;   // the members below
    std::condition_variable m_changed;
    std::vector<bool> m_isDone;
    std::size_t m_finished = 0;
    std::size_t m_running = 0;
    std::exception_ptr m_failure;
    std::vector<std::thread> m_threads;
};

// After Ctrl-C: returns when the workers have stopped, and ends the process when they do not.
void AwaitStop(Crew& crew, std::chrono::milliseconds patience, const std::function<void()>& finish)
{
    if (crew.WaitForEnd(patience))
        return;
    try
    {
        finish();
    }
    catch (const CancelledException&)   // nobody reads the rest
    {
    }
    std::_Exit(static_cast<int>(ExitCode::Interrupted));
}

}   // namespace

bool RunInOrder(std::size_t count, const std::function<void(std::size_t)>& work,
    const std::function<void(std::size_t)>& deliver, const std::function<void(std::size_t)>& progress,
    const std::function<void()>& finish)
{
    Crew crew(count, work);
    std::size_t finished = 0;
    std::size_t reported = 0;
    for (std::size_t next = 0; next < count;)
    {
        const bool isDone = crew.Wait(next, finished);
        if (IsInterrupted())
        {
            AwaitStop(crew, kPatience, finish);
            return false;
        }
        if (finished != reported)
            progress(reported = finished);
        if (isDone)
            deliver(next++);
    }
    return true;
}

void RunWatched(const std::string& label, const std::function<void()>& work)
{
    RunWatched([&](const std::string& time) { Console::ShowActivity(label + ", " + time); }, kPatience, work);
}

void RunWatched(const std::function<void(const std::string&)>& show, std::chrono::milliseconds patience,
    const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    std::int64_t shownSeconds = 0;
    const std::function<void(std::size_t)> piece = [&](std::size_t) { work(); };
    Crew crew(1, piece);
    std::size_t finished = 0;
    for (bool isDone = false; !isDone;)
    {
        isDone = crew.Wait(0, finished);
        if (IsInterrupted())
        {
            Console::HideBar();
            AwaitStop(crew, patience, [] {});
            Console::HideBar();   // again: the work may have shown one until it noticed
            throw CancelledException();
        }
        const auto elapsed = std::chrono::steady_clock::now() - start;
        const std::int64_t seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
        if (seconds != shownSeconds)
            show(std::to_string(seconds) + " s");
        shownSeconds = seconds;
    }
    Console::HideBar();
}
