// TCOLLATE asserts for its sources in strict rotation: the next assertion of the first, then the next of the second that
// comes later, and so on. What a source asserts while it is not its turn is dropped once it is overtaken.

#include "events/trigger_source.h"
#include "frame/commands.h"
#include "host/parameters.h"
#include "host/tasks.h"

namespace zcmds {

const char* const tcollateSignature = "( [ in   trigger   src , ]+   out  trigger   dest )";

namespace {

constexpr std::int32_t maxSources = 16;

struct Collation {
    TriggerSource src[maxSources];
    std::int32_t n;      // sources
    TriggerHandle dest;  // the assertions in rotation
    std::uint32_t last = beforeFirstSample;
};

// Nothing up to `v` can pass any more: drops what is held before it, and vouches for the rest.
void bringUp(Collation& c, std::uint32_t v) {
    for (std::int32_t j = 0; j < c.n; ++j) {
        if (isBefore(c.src[j].pos, v))
            c.src[j].read();
        else
            zepl::trigger_set_status(c.src[j].trigger, v);
    }
}

// Waits until the source holds an assertion later than the last one sent.
void findUsable(Collation& c, TriggerSource& src) {
    for (;;) {
        if (src.held == 0) src.read();
        while (src.held != 0 && !isBefore(c.last, src.pos)) src.read();
        if (src.held != 0) return;
        const std::uint32_t v = src.pos;
        if (isBefore(c.last, v)) bringUp(c, v);
        zepl::trigger_set_status(c.dest, v);
        zepl::task_switch();
    }
}

[[noreturn]] void rotate(Collation& c) {
    for (std::int32_t i = 0;; i = i + 1 < c.n ? i + 1 : 0) {
        TriggerSource& src = c.src[i];
        findUsable(c, src);
        c.last = src.pos;
        zepl::trigger_set_status(src.trigger, c.last);
        zepl::trigger_put(c.dest, c.last);
        src.read();
    }
}

}  // namespace

std::uint32_t tcollate(ParamList list) {
    Collation collation;
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 3, maxSources + 1, triggerKind, triggerKind, triggerKind, triggerKind,
                            triggerKind, triggerKind, triggerKind, triggerKind, triggerKind, triggerKind, triggerKind,
                            triggerKind, triggerKind, triggerKind, triggerKind, triggerKind, triggerKind);
    collation.n = count - 1;
    collation.dest = openCombined(params, count, collation.src);
    rotate(collation);
}

}  // namespace zcmds
