#pragma once

#include "brvcore/foundation/BrvExport.h"

#include <functional>
#include <memory>

// Runs tasks for the library on threads of the host. Schedule() is called from any thread; it either takes the task and
// runs it once, some time later, or throws.
class BRV_EXPORT ITaskExecutor
{
public:
    virtual ~ITaskExecutor();
    virtual void Schedule(std::function<void()> task) = 0;
};

// Tasks that need not be waited for, run by the executor that the host lends. Without one a task runs at once on the
// calling thread. What a task throws is logged and dropped; a cancellation is dropped silently.
namespace AsyncTasks
{

// Lends an executor, or ends the loan with null. Before it returns, every task that the old executor took has ended or been
// dropped, what the tasks held is destroyed, and no thread is inside the old executor, so that the host may then destroy
// it. Never call it from a task.
BRV_EXPORT void SetExecutor(std::shared_ptr<ITaskExecutor> executor);

BRV_EXPORT void Run(std::function<void()> task);

// Waits until the present executor has nothing left to do. Never call it from a task.
BRV_EXPORT void WaitForAll();

}   // namespace AsyncTasks
