// TCOLLATE asserts for its sources in strict rotation: the next assertion of the first, then the next of the second that
// comes later, and so on. What a source asserts while it is not its turn is dropped once it is overtaken.

#include "events/trigger_source.h"
#include "frame/mask_list.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const tcollateSignature = "( [ in   trigger   src , ]+   out  trigger   dest )";

namespace {

constexpr std::int32_t maxSources = 16;

struct Collation {
    TriggerSources<maxSources> sources;
    std::uint32_t last = beforeFirstSample;  // the last position sent
};

// Nothing up to `v` can pass any more: drops what is held before it, and vouches for the rest.
void bringUp(TriggerSources<maxSources>& sources, std::uint32_t v) {
    for (std::int32_t j = 0; j < sources.n; ++j) {
        if (isBefore(sources.pos[j], v))
            sources.read(j);
        else
            zepl::trigger_set_status(sources.src[j], v);
    }
}

// Waits until source `i` holds an assertion later than the last one sent.
void findUsable(Collation& c, std::int32_t i) {
    auto& [sources, last] = c;
    for (;;) {
        if (sources.held[i] == 0) sources.read(i);
        while (sources.held[i] != 0 && !isBefore(last, sources.pos[i])) sources.read(i);
        if (sources.held[i] != 0) return;
        const std::uint32_t v = sources.pos[i];
        if (isBefore(last, v)) bringUp(sources, v);
        zepl::trigger_set_status(sources.dest, v);
        zepl::task_switch();
    }
}

[[noreturn]] void rotate(Collation& c) {
    auto& [sources, last] = c;
    for (std::int32_t i = 0;; i = i + 1 < sources.n ? i + 1 : 0) {
        findUsable(c, i);
        last = sources.pos[i];
        zepl::trigger_set_status(sources.src[i], last);
        zepl::trigger_put(sources.dest, last);
        sources.read(i);
    }
}

}  // namespace

std::uint32_t tcollate(ParamList list) {
    Collation collation;
    std::int32_t count;
    const Slot* params = processList(list, &count, 3, maxSources + 1, times<maxSources + 1>(triggerKind));
    collation.sources.open(params, count);
    rotate(collation);
}

}  // namespace zcmds
