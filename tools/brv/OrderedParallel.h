#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

// Independent pieces of work over the cores, taken in the order of their numbers.
//
// `work(i)` runs on a thread of its own, with Ctrl-C as that thread's cancellation; it leaves its result where nobody else
// writes. `deliver(i)` runs on the calling thread, in the order of i, as soon as the results up to i are there. `progress`
// too, with the number of finished pieces, after each one.
//
// Returns false when Ctrl-C stopped it: what was not delivered by then never is. A piece that does not notice within
// moments is not waited for: then `finish` runs and the process ends with the code of an interruption. What `work` or
// `deliver` throws (but CancelledException) comes out here.
bool RunInOrder(std::size_t count, const std::function<void(std::size_t)>& work,
    const std::function<void(std::size_t)>& deliver, const std::function<void(std::size_t)>& progress,
    const std::function<void()>& finish);

// One piece of work on a thread of its own, in the same way; a long one shows `label` and the seconds so far on a terminal.
// What it throws comes out here; Ctrl-C is CancelledException, or the end of the process where the work does not notice.
void RunWatched(const std::string& label, const std::function<void()>& work);
// `show` is called every second with the time so far ("12 s"), and `patience` is what the work has to notice Ctrl-C.
void RunWatched(const std::function<void(const std::string&)>& show, std::chrono::milliseconds patience,
    const std::function<void()>& work);
