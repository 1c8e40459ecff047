#include "Interrupt.h"

#include <atomic>
#include <csignal>

namespace
{

std::atomic<bool> g_interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "the signal handler writes it");

}   // namespace

void InstallInterruptHandler()
{
    struct sigaction action = {};
    action.sa_handler = [](int) { g_interrupted.store(true, std::memory_order_relaxed); };
    action.sa_flags = static_cast<int>(SA_RESETHAND);   // and no SA_RESTART: a read that waits for input must come back
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction hangUp = {};
    sigaction(SIGHUP, nullptr, &hangUp);
    if (hangUp.sa_handler != SIG_IGN)   // as nohup has it
        sigaction(SIGHUP, &action, nullptr);
}

bool IsInterrupted() noexcept
{
    return g_interrupted.load(std::memory_order_relaxed);
}
