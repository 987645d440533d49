// The session's time: its clock, and the tasks that pause until a moment of it.
#pragma once

#include <algorithm>
#include <vector>

#include "runtime/engine/clock.h"
#include "runtime/engine/task.h"

namespace libzepl {

// So many pauses may end without a round, in which the run would see a request to stop.
inline constexpr std::uint32_t maxJumps = 4096;

struct Timing {
    // When the next pause ends; there is one.
    std::uint64_t nextDue() const {
        const auto sooner = [](const Task* a, const Task* b) { return a->due < b->due; };
        return (*std::min_element(pausing.begin(), pausing.end(), sooner))->due;
    }

    VirtualClock clock;
    std::vector<Task*> pausing;
    std::uint32_t jumpsLeft = 0;  // pauses that may still end without a round
};

}  // namespace libzepl
