// TOR asserts wherever one of its sources does, in order of position; assertions at the same position become one.

#include <algorithm>

#include "events/trigger_source.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

namespace {

constexpr std::int32_t maxSources = 64;

using Sources = TriggerSources<maxSources>;

// The minimum distance of a source from the last position sent.
std::uint32_t minDistance(const Sources& sources, std::uint32_t last) {
    std::uint32_t minD = 0xFFFFFFFF;
    for (std::int32_t i = 0; i < sources.n; ++i) minD = std::min(minD, sources.pos[i] - last);
    return minD;
}

// The first source at the position that holds an assertion; `n` where none does. One that has only reached it does not
// block it: if that one were taken, the assertion would be found again and again and never be used up.
std::int32_t firstHeldAt(const Sources& sources, std::uint32_t position) {
    std::int32_t i = 0;
    while (i < sources.n && (sources.pos[i] != position || sources.held[i] == 0)) ++i;
    return i;
}

[[noreturn]] void passAll(Sources& sources) {
    std::uint32_t last = beforeFirstSample;
    for (;;) {
        sources.readWhereNoneIsHeld();
        const std::uint32_t minD = minDistance(sources, last);
        last += minD;
        const std::int32_t best = firstHeldAt(sources, last);
        if (best < sources.n) {
            sources.held[best] = 0;
            if (minD != 0) zepl::trigger_put(sources.dest, last);
        } else {
            if (minD != 0) zepl::trigger_set_status(sources.dest, last);
            zepl::task_switch();
        }
    }
}

}  // namespace

std::uint32_t tor(ParamList list) {
    Sources sources;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, maxSources + 1, beginRepeat, triggerKind, endRepeat);
    sources.open(params, count);
    passAll(sources);
}

}  // namespace zcmds
