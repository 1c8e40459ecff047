#pragma once

#include "brvcore/data/CancellationPoll.h"
#include "brvcore/data/Domain.h"

#include <cstddef>
#include <vector>

// The end offsets, from the start of the value, of the parts that the domains [first, last) take of the value from `start`
// on: shortest parts first, with backtracking. Empty when the value cannot be read that way, when there is no domain, and
// when nothing is left of the value. At most domains x length scans, each over the rest of the value; recursion as deep as
// there are domains. Scans are spent on the poll, if there is one.
std::vector<std::size_t> LeftRight(const Value& value, const DomainPtr* first, const DomainPtr* last, std::size_t start,
    CancellationPoll* poll = nullptr);
