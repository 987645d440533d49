// NTH keeps every n-th assertion of a trigger; those between become status.

#include "events/trigger_source.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const nthSignature =
    "( in     trigger  src ,   const  storage  (int16|int32)  decim ,   out    trigger  dest )";

namespace {

struct Nth {
    TriggerHandle src, dest;
    std::int32_t decim;                      // assertions for each one that passes, above 0
    std::int32_t remaining;                  // still to come until the next one passes
    std::uint32_t last = beforeFirstSample;  // the last position handled
};

// Takes `k` assertions that are there and returns the last.
std::uint32_t takeBurst(TriggerHandle src, std::int32_t k) {
    std::uint32_t p = zepl::trigger_get(src);
    while (--k > 0) p = zepl::trigger_get(src);
    return p;
}

void finishAt(Nth& nth, std::uint32_t p) {
    zepl::trigger_set_status(nth.src, p);
    nth.last = p;
}

// With nothing counted there can still be an assertion; one at the position handled last is dropped.
void takeImmediate(Nth& nth) {
    std::int32_t flag;
    const std::uint32_t p = zepl::trigger_get_immediate(nth.src, &flag);
    if (p == nth.last) return;
    if (flag != 0 && --nth.remaining == 0)
        zepl::trigger_put(nth.dest, p);
    else
        zepl::trigger_set_status(nth.dest, p);
    finishAt(nth, p);
}

void passNext(Nth& nth) {
    nth.remaining = nth.decim;
    while (nth.remaining != 0) {
        const std::int32_t k = zepl::trigger_num(nth.src);
        if (k >= nth.remaining) {
            const std::uint32_t p = takeBurst(nth.src, nth.remaining);
            zepl::trigger_put(nth.dest, p);
            return finishAt(nth, p);
        }
        if (k != 0) {
            nth.remaining -= k;
            const std::uint32_t p = takeBurst(nth.src, k);
            zepl::trigger_set_status(nth.dest, p);
            finishAt(nth, p);
        } else {
            takeImmediate(nth);
        }
        zepl::task_switch();
    }
}

}  // namespace

std::uint32_t nth(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, triggerKind, constantInteger, triggerKind);
    Nth nth;
    nth.src = handleIn<TriggerHandle>(params[1]);
    nth.decim = *valueIn<std::int32_t>(params[2]);  // at 32 bits, also where it is an int16
    nth.dest = handleIn<TriggerHandle>(params[3]);
    if (nth.decim < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    openIfGiven(nth.src, zepl::OpenMode::read);
    openIfGiven(nth.dest, zepl::OpenMode::write);
    for (;;) passNext(nth);
}

}  // namespace zcmds
