// TAND asserts where every source has asserted within a tolerance, at the earliest of the assertions that match.

#include <algorithm>

#include "events/trigger_source.h"
#include "frame/commands.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/tasks.h"

namespace zcmds {

const char* const tandSignature =
    "( [ in    trigger   src  , ]+   out   trigger   dest   [ , in    storage  int16   tol ] )";

namespace {

constexpr std::int32_t maxSources = 64;

struct Tand {
    TriggerSource src[maxSources];
    std::int32_t n;      // sources
    TriggerHandle dest;  // the coincidences
    std::uint32_t tol;   // the greatest distance between assertions that match
    std::uint32_t last = beforeFirstSample;
};

// Where the sources stand, as distances from the last position sent.
struct Extent {
    std::uint32_t minD = 0xFFFFFFFF, maxD = 0;
    std::int32_t minIdx = 0;  // the first source at `minD`
    bool allHeld = true;
};

Extent readSources(Tand& tand) {
    Extent extent;
    for (std::int32_t i = 0; i < tand.n; ++i) {
        TriggerSource& src = tand.src[i];
        if (src.held == 0) src.read();
        if (src.held == 0) extent.allHeld = false;
        const std::uint32_t d = src.pos - tand.last;
        if (d < extent.minD) {
            extent.minD = d;
            extent.minIdx = i;
        }
        extent.maxD = std::max(extent.maxD, d);
    }
    return extent;
}

bool assertsAtMin(const Tand& tand, const Extent& extent) {
    return std::any_of(tand.src + extent.minIdx, tand.src + tand.n,
                       [&](const TriggerSource& src) { return src.held != 0 && src.pos - tand.last == extent.minD; });
}

void advance(Tand& tand, std::uint32_t distance) {
    if (distance == 0) return;
    tand.last += distance;
    zepl::trigger_set_status(tand.dest, tand.last);
}

void assertMatch(Tand& tand, std::int32_t minIdx) {
    tand.last = tand.src[minIdx].pos;
    zepl::trigger_put(tand.dest, tand.last);
    for (std::int32_t i = 0; i < tand.n; ++i) tand.src[i].held = 0;
}

// Those without an assertion may yet get one that matches; the status stops before the earliest that is held.
void awaitPartners(Tand& tand, const Extent& extent) {
    const bool oneShort = extent.minD != 0 && assertsAtMin(tand, extent);
    advance(tand, extent.minD - (oneShort ? 1 : 0));
}

// Lets go of the assertions that come too early for the source that is furthest on. The distance is taken from the last
// position sent and not from the earliest source, so an early assertion can take one pass more to go.
void dropEarly(Tand& tand, const Extent& extent) {
    const std::uint32_t excess = extent.maxD - extent.minD - tand.tol;
    for (std::int32_t i = 0; i < tand.n; ++i)
        if (tand.src[i].pos - tand.last < excess) tand.src[i].held = 0;
    advance(tand, extent.minD);
}

[[noreturn]] void passCoincidences(Tand& tand) {
    for (;;) {
        const Extent extent = readSources(tand);
        const bool within = extent.maxD - extent.minD <= tand.tol;
        if (within && extent.allHeld)
            assertMatch(tand, extent.minIdx);
        else if (within)
            awaitPartners(tand, extent);
        else
            dropEarly(tand, extent);
        if (!extent.allHeld) zepl::task_switch();
    }
}

}  // namespace

std::uint32_t tand(ParamList list) {
    Tand tand;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, maxSources + 2, triggerKind, triggerKind, beginRepeat,
                                             triggerKind | constantInt16, endRepeat);
    std::int32_t tol = 0, last = count;
    if (zepl::param_type(list, count) == constantInt16) {
        tol = *valueIn<std::int16_t>(params[count]);
        if (tol < 0) zepl::param_error_msg(ParamError::notPositive, count);
        --last;
    }
    for (std::int32_t i = 1; i <= last; ++i)
        if (zepl::param_type(list, i) != triggerKind) zepl::param_error_msg(ParamError::typeMismatch, i);
    if (last < 2) zepl::param_error_msg(ParamError::missing, 2);  // a tolerance behind the one trigger
    if (last > maxSources + 1) zepl::param_error_msg(ParamError::tooMany, last);
    tand.n = last - 1;
    tand.tol = static_cast<std::uint32_t>(tol);
    tand.dest = openCombined(params, last, tand.src);
    passCoincidences(tand);
}

}  // namespace zcmds
