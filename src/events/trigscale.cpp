// TRIGSCALE moves the positions of a trigger to the sample clock of another stream: adds an offset, divides, multiplies.

#include "events/trigger_source.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const trigscaleSignature =
    "( in     trigger  src ,   const  storage  (int16|int32)  offset ,   const  storage  int16  mul ,   "
    "const  storage  int16  div ,   out    trigger  dest )";

namespace {

struct TrigScale {
    TriggerHandle src, dest;
    std::int32_t offset;  // in samples of the input's clock
    std::int16_t mul;     // above 0
    std::int16_t div;     // above 0
    std::uint32_t lastIn = beforeFirstSample, lastOut = beforeFirstSample;
};

// 64 bits hold every result; its low 32 are the position.
std::uint32_t mappedAssertion(const TrigScale& scale, std::uint32_t p) {
    std::int64_t v = std::int64_t{p} + scale.offset;
    if (scale.div != 1) v /= scale.div;
    return wrap<std::uint32_t>(v * scale.mul);
}

// A status of p means that p + 1 samples are done; it becomes that of the last output sample that is wholly done.
std::uint32_t mappedStatus(const TrigScale& scale, std::uint32_t p) {
    std::int64_t v = std::int64_t{p} + scale.offset;
    if (scale.div != 1) v = (v + 1) / scale.div - 1;
    return wrap<std::uint32_t>(v * scale.mul);
}

std::uint32_t take(TrigScale& scale, bool& asserts) {
    std::int32_t flag;
    const std::uint32_t p = zepl::trigger_get_immediate(scale.src, &flag);
    asserts = flag != 0;
    return p;
}

void passAssertion(TrigScale& scale, std::uint32_t p) {
    const std::uint32_t v = mappedAssertion(scale, p);
    zepl::trigger_set_status(scale.src, p);
    scale.lastIn = p;
    if (v == scale.lastOut) return;
    zepl::trigger_put(scale.dest, v);
    scale.lastOut = v;
}

void passStatus(TrigScale& scale, std::uint32_t p) {
    if (p != scale.lastIn) {
        const std::uint32_t v = mappedStatus(scale, p);
        zepl::trigger_set_status(scale.src, p);
        scale.lastIn = p;
        if (v != scale.lastOut) {
            zepl::trigger_set_status(scale.dest, v);
            scale.lastOut = v;
            zepl::task_switch();
        }
    }
    zepl::task_switch();
}

// Drops what the offset moves below position 0. A status that ends this is forgotten.
void skipBelowZero(TrigScale& scale) {
    bool asserts;
    std::uint32_t p = take(scale, asserts);
    while (wrappingSum(scale.offset, wrap<std::int32_t>(p)) < 0) {
        zepl::trigger_set_status(scale.src, p);
        zepl::task_switch();
        p = take(scale, asserts);
    }
    if (asserts) passAssertion(scale, p);
}

[[noreturn]] void passScaled(TrigScale& scale) {
    skipBelowZero(scale);
    for (;;) {
        bool asserts;
        const std::uint32_t p = take(scale, asserts);
        if (asserts)
            passAssertion(scale, p);
        else
            passStatus(scale, p);
    }
}

}  // namespace

std::uint32_t trigscale(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 5, triggerKind, constantInteger, constantInt16,
                                             constantInt16, triggerKind);
    TrigScale scale;
    scale.src = handleIn<TriggerHandle>(params[1]);
    scale.offset = integerIn(params[2], zepl::param_type(list, 2));
    scale.mul = *valueIn<std::int16_t>(params[3]);
    scale.div = *valueIn<std::int16_t>(params[4]);
    scale.dest = handleIn<TriggerHandle>(params[5]);
    if (scale.mul < 1) zepl::param_error_msg(ParamError::notPositive, 3);
    if (scale.div < 1) zepl::param_error_msg(ParamError::notPositive, 4);
    openIfGiven(scale.src, zepl::OpenMode::read);
    openIfGiven(scale.dest, zepl::OpenMode::write);
    passScaled(scale);
}

}  // namespace zcmds
