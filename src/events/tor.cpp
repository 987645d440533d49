// TOR asserts wherever one of its sources does, in order of position; assertions at the same position become one.

#include "events/trigger_source.h"
#include "frame/commands.h"
#include "host/parameters.h"
#include "host/tasks.h"

namespace zcmds {

namespace {

constexpr std::int32_t maxSources = 64;

// The source whose position is next.
struct Nearest {
    std::int32_t best = 0;
    std::uint32_t minD = 0xFFFFFFFF;  // its distance from the last position sent
    bool assertAtMin = false;         // it holds an assertion
};

// The first of equally near sources, but one with an assertion before those that have only come as far: with these taken,
// the assertion would be found again and again and never be used up.
Nearest findNearest(TriggerSource* src, std::int32_t n, std::uint32_t last) {
    Nearest nearest;
    for (std::int32_t i = 0; i < n; ++i) {
        if (src[i].held == 0) src[i].read();
        const bool held = src[i].held != 0;
        const std::uint32_t d = src[i].pos - last;
        if (d < nearest.minD || (d == nearest.minD && held && !nearest.assertAtMin))
            nearest = {.best = i, .minD = d, .assertAtMin = held};
    }
    return nearest;
}

[[noreturn]] void passAll(TriggerSource* src, std::int32_t n, TriggerHandle dest) {
    std::uint32_t last = beforeFirstSample;
    for (;;) {
        const auto [best, minD, assertAtMin] = findNearest(src, n, last);
        if (assertAtMin) src[best].held = 0;
        if (minD != 0) {
            last += minD;
            if (assertAtMin)
                zepl::trigger_put(dest, last);
            else
                zepl::trigger_set_status(dest, last);
        }
        if (!assertAtMin) zepl::task_switch();
    }
}

}  // namespace

std::uint32_t tor(ParamList list) {
    TriggerSource src[maxSources];
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, maxSources + 1, beginRepeat, triggerKind, endRepeat);
    const TriggerHandle dest = openCombined(params, count, src);
    passAll(src, count - 1, dest);
}

}  // namespace zcmds
