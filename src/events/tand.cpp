// TAND asserts where every source has asserted within a tolerance, at the earliest of the assertions that match.

#include <algorithm>

#include "events/trigger_source.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const tandSignature =
    "( [ in    trigger   src  , ]+   out   trigger   dest   [ , in    storage  int16   tol ] )";

namespace {

constexpr std::int32_t maxSources = 64;

struct Tand {
    TriggerSources<maxSources> sources;
    std::uint32_t tol;                       // the maximum distance between assertions that match
    std::uint32_t last = beforeFirstSample;  // the last position sent

    std::uint32_t distance(std::int32_t i) const { return sources.pos[i] - last; }
};

// The positions of the sources, as distances from the last position sent.
struct Extent {
    std::uint32_t minD = 0xFFFFFFFF, maxD = 0;
    bool allHeld = true;
};

Extent extentOf(const Tand& tand) {
    Extent extent;
    for (std::int32_t i = 0; i < tand.sources.n; ++i) {
        extent.minD = std::min(extent.minD, tand.distance(i));
        extent.maxD = std::max(extent.maxD, tand.distance(i));
        extent.allHeld &= tand.sources.held[i] != 0;
    }
    return extent;
}

bool assertsAt(const Tand& tand, std::uint32_t distance) {
    for (std::int32_t i = 0; i < tand.sources.n; ++i)
        if (tand.distance(i) == distance && tand.sources.held[i] != 0) return true;
    return false;
}

void advance(Tand& tand, std::uint32_t distance) {
    if (distance == 0) return;
    tand.last += distance;
    zepl::trigger_set_status(tand.sources.dest, tand.last);
}

void assertMatch(Tand& tand, std::uint32_t distance) {
    tand.last += distance;
    zepl::trigger_put(tand.sources.dest, tand.last);
    std::fill_n(tand.sources.held, tand.sources.n, 0);
}

// Those without an assertion may yet get one that matches; the status stops before the earliest that is held.
void awaitPartners(Tand& tand, std::uint32_t minD) {
    const bool stopsBefore = minD != 0 && assertsAt(tand, minD);
    advance(tand, minD - (stopsBefore ? 1 : 0));
}

// Lets go of the assertions that come too early for the source that is furthest on. The distance is taken from the last
// position sent and not from the earliest source, so an early assertion can take one pass more to go.
void dropEarly(Tand& tand, const Extent& extent) {
    const std::uint32_t excess = extent.maxD - extent.minD - tand.tol;
    for (std::int32_t i = 0; i < tand.sources.n; ++i)
        if (tand.distance(i) < excess) tand.sources.held[i] = 0;
    advance(tand, extent.minD);
}

[[noreturn]] void passCoincidences(Tand& tand) {
    for (;;) {
        tand.sources.readWhereNoneIsHeld();
        const Extent extent = extentOf(tand);
        const bool within = extent.maxD - extent.minD <= tand.tol;
        if (within && extent.allHeld)
            assertMatch(tand, extent.minD);
        else if (within)
            awaitPartners(tand, extent.minD);
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
    if (last > maxSources + 1) zepl::param_error_msg(ParamError::tooMany, last);
    tand.tol = static_cast<std::uint32_t>(tol);
    tand.sources.open(params, last);
    passCoincidences(tand);
}

}  // namespace zcmds
