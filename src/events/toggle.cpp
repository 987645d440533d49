// TOGGLE turns a stream into a trigger that alternates between an on condition and an off condition: while it is off it
// looks only for a sample that meets the first, while it is on only for one that meets the second, so that two limits make
// a hysteresis. The off condition can be tested on a second stream that runs sample for sample beside the first.

#include <algorithm>

#include "events/toggle_scan.h"
#include "frame/cursors.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "host/system_info.h"
#include "host/triggers.h"
#include "module/commands.h"

namespace zcmds {

const char* const toggleSignature =
    "( const pipe   int16   ondata ,   const storage   keyword region   onrange ,   "
    "in    storage   int16   onlow ,   in    storage   int16   onhigh ,   [ const pipe   int16  offdata , ]   "
    "const storage   keyword region   offrange ,   in    storage   int16   offlow ,   "
    "in    storage   int16   offhigh ,   out   trigger  dest )";

namespace {

// What a sample must meet. Other tasks can change the limits whenever this one waits.
struct Condition {
    std::int32_t region;
    const std::int16_t* low;
    const std::int16_t* high;
};

struct ToggleTask {
    StreamReader onReader, offReader;  // the second is left alone without `offdata`
    Condition onCondition, offCondition;
    TriggerHandle dest;
};

// Samples that were tested together: up to a match, which is the last of them, or up to the end of the block.
struct Pass {
    std::int32_t tested;
    bool matched;
};

// Tests what is left of the block, or a new one. No other task runs meanwhile, so the limits can be read once.
Pass testBlock(StreamReader& reader, const Condition& condition) {
    if (reader.count == 0) {
        zepl::pbuf_get(reader.pbuf);
        reader.count = zepl::pbuf_get_cnt(reader.pbuf);
        reader.ptr = zepl::pbuf_get_data_ptr(reader.pbuf);
    }
    auto* from = static_cast<std::int16_t*>(reader.ptr);
    const std::int32_t before = firstInRegion(from, reader.count, condition.region, *condition.low, *condition.high);
    const bool matched = before < reader.count;
    const std::int32_t tested = before + (matched ? 1 : 0);
    reader.count -= tested;
    reader.ptr = from + tested;
    return {tested, matched};
}

[[noreturn]] void watchOneStream(ToggleTask& task) {
    for (bool on = false;;) {
        const Pass pass = testBlock(task.onReader, on ? task.offCondition : task.onCondition);
        if (pass.matched) {
            on = !on;
            zepl::trigger_updt_put(task.dest, static_cast<std::uint32_t>(pass.tested));
        } else {
            zepl::trigger_updt_status(task.dest, static_cast<std::uint32_t>(pass.tested));
        }
    }
}

// Moves the stream that is not tested on by `n`: what its block holds goes first, the rest leaves the pipe unseen. A
// negative `n` gives samples back that the block has shown, as far as `memory`, the start of both blocks, reaches.
void advanceShadow(StreamReader& shadow, std::int32_t n, const std::int16_t* memory) {
    if (shadow.count >= n) {
        auto* at = static_cast<std::int16_t*>(shadow.ptr);
        const auto shown = static_cast<std::int32_t>(at - memory);
        const std::int32_t step = std::max(n, -shown);
        shadow.count -= step;
        shadow.ptr = at + step;
    } else {
        zepl::pipe_rem(shadow.pipe, n - shadow.count);
        shadow.count = 0;
    }
}

// In this form the count up to a match is kept in 16 bits, which matters to default blocks above 32767 only.
[[noreturn]] void watchTwoStreams(ToggleTask& task) {
    const auto* memory = static_cast<const std::int16_t*>(task.onReader.ptr);
    for (bool on = false;;) {
        StreamReader& tested = on ? task.offReader : task.onReader;
        StreamReader& shadow = on ? task.onReader : task.offReader;
        const Pass pass = testBlock(tested, on ? task.offCondition : task.onCondition);
        if (pass.matched) {
            on = !on;
            const auto count = wrap<std::int16_t>(pass.tested);
            zepl::trigger_updt_put(task.dest, static_cast<std::uint32_t>(count));
            advanceShadow(shadow, count, memory);
        } else {
            zepl::trigger_updt_status(task.dest, static_cast<std::uint32_t>(pass.tested));
            advanceShadow(shadow, pass.tested, memory);
        }
    }
}

// `offdata` shifts what follows it by one position, so the kinds there depend on the number of parameters.
void checkKinds(ParamList list, std::int32_t count) {
    const auto kind = [&](std::int32_t position) { return zepl::param_type(list, position); };
    if (count == 8) {
        if (kind(5) == pipeInt16) zepl::param_error_msg(ParamError::missing, 9);
        if (kind(6) == hostKeyword) zepl::param_error_msg(ParamError::wrongKind, 6);
        if (kind(8) != triggerKind) zepl::param_error_msg(ParamError::wrongKind, 8);
    } else {
        if (kind(5) == hostKeyword) zepl::param_error_msg(ParamError::tooMany, 9);
        if (kind(6) != hostKeyword) zepl::param_error_msg(ParamError::wrongKind, 6);
        if (kind(8) == triggerKind) zepl::param_error_msg(ParamError::wrongKind, 8);
    }
}

// Both blocks are in one buffer, the off block in its upper half.
void openBlocks(ToggleTask& task) {
    const auto n = static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock));
    StreamReader &on = task.onReader, &off = task.offReader;
    on.pbuf = zepl::pbuf_open(on.pipe, 2 * n);
    zepl::pbuf_set_max_cnt(on.pbuf, n);
    auto* memory = static_cast<std::int16_t*>(zepl::pbuf_get_data_ptr(on.pbuf));
    off.pbuf = zepl::pbuf_open(off.pipe, 0);
    zepl::pbuf_set_data_ptr(off.pbuf, memory + n);
    zepl::pbuf_set_min_cnt(off.pbuf, 1);
    zepl::pbuf_set_max_cnt(off.pbuf, n);
    on.ptr = memory;
    off.ptr = memory + n;
}

Condition conditionAt(const Slot* params, std::int32_t position) {
    return {.region = *valueIn<std::int32_t>(params[position]),
            .low = valueIn<std::int16_t>(params[position + 1]),
            .high = valueIn<std::int16_t>(params[position + 2])};
}

// Skips the samples that the trigger is to leave out at its start. They are taken from `ondata` alone: `offdata` is then
// late by as many.
void skipSamples(const ToggleTask& task) {
    constexpr std::uint32_t maxAtOnce = 4096;
    for (std::uint32_t left = zepl::trigger_get_property(task.dest, 3); left > 0;) {
        const std::uint32_t n = std::min(left, maxAtOnce);
        zepl::pipe_rem(task.onReader.pipe, static_cast<std::int32_t>(n));
        zepl::trigger_updt_status(task.dest, n);
        left -= n;
    }
}

}  // namespace

std::uint32_t toggle(ParamList list) {
    constexpr ParamMask limit = constantInt16 | variableInt16;
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 8, 9, pipeInt16, hostKeyword, limit, limit, pipeInt16 | hostKeyword,
                            hostKeyword | limit, limit, limit | triggerKind, triggerKind);
    checkKinds(list, count);
    const bool twoStreams = count == 9;
    ToggleTask task;
    task.onReader.pipe = handleIn<PipeHandle>(params[1]);
    task.offReader.pipe = handleIn<PipeHandle>(params[twoStreams ? 5 : 1]);
    if (twoStreams) zepl::pipe_open(task.offReader.pipe, zepl::OpenMode::read);
    zepl::pipe_open(task.onReader.pipe, zepl::OpenMode::read);
    openBlocks(task);
    task.onCondition = conditionAt(params, 2);
    task.offCondition = conditionAt(params, count - 3);
    task.dest = handleIn<TriggerHandle>(params[count]);
    zepl::trigger_open(task.dest, zepl::OpenMode::write);
    if (zepl::trigger_get_opmode(task.dest) == 2 || zepl::trigger_get_property(task.dest, 1) != 0)
        zepl::param_error_msg(ParamError::unknownWord, count);
    skipSamples(task);
    if (twoStreams) watchTwoStreams(task);
    watchOneStream(task);
}

}  // namespace zcmds
