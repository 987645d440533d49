// QDCOUNT extends the readings of a free-running 16-bit counter, such as that of a quadrature decoder, to a position: each
// difference of neighbouring readings is a signed step.

#include <cstring>

#include "frame/cursors.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "module/commands.h"

namespace zcmds {

const char* const qdcountSignature =
    "( in     pipe     int16   src ,   [ const  storage  (int16|int32)  initial , ]   "
    "[ const  storage  string   mode , ]   out    pipe     (int16|int32)  dest   )";

namespace {

struct QdCount {
    PipeHandle src, dest;
    ParamMask destType;
    std::int32_t position = 0;
    std::int16_t previous = 0;
    bool relative = true;  // the first reading is the reference, not a step from 0

    std::int32_t next(std::int16_t x) {
        position = wrappingSum(position, std::int32_t{wrap<std::int16_t>(x - previous)});
        previous = x;
        return position;
    }
};

bool isRelative(const char* mode, std::int32_t index) {
    if (std::strcmp(mode, "RELATIVE") == 0 || std::strcmp(mode, "REL") == 0) return true;
    if (std::strcmp(mode, "ABSOLUTE") != 0 && std::strcmp(mode, "ABS") != 0)
        zepl::param_error_msg(ParamError::unknownWord, index);
    return false;
}

// The list is src [, initial] [, mode], dest.
QdCount readParameters(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 4, pipeInt16, constantInteger | stringKind | integerPipe,
                                             stringKind | integerPipe, integerPipe);
    QdCount state;
    std::int32_t i = 2;
    const auto requireOne = [&] {
        if (i > count) zepl::param_error_msg(ParamError::missing, i);
    };
    if (const ParamMask kind = zepl::param_type(list, i); (kind & constantInteger) != 0)
        state.position = integerIn(params[i++], kind);
    requireOne();
    if (zepl::param_type(list, i) == stringKind) {
        state.relative = isRelative(valueIn<char>(params[i]), i);
        ++i;
        requireOne();
    }
    state.destType = zepl::param_type(list, i);
    // The reported index is one past the parameter's own.
    if ((state.destType & integerPipe) == 0) zepl::param_error_msg(ParamError::wrongKind, i + 1);
    if (count > i) zepl::param_error_msg(ParamError::tooMany, i + 1);
    state.src = handleIn<PipeHandle>(params[1]);
    state.dest = handleIn<PipeHandle>(params[i]);
    return state;
}

template <class Result>
void start(QdCount& state) {
    if (!state.relative) return;
    zepl::pipe_value_get(state.src, &state.previous);
    const auto initial = wrap<Result>(state.position);
    zepl::pipe_value_put(state.dest, &initial);
}

template <class Result>
[[noreturn]] void countBlocks(QdCount state, PbufHandle input, PbufHandle output) {
    start<Result>(state);
    for (;;) {
        const std::int32_t n = zepl::pbuf_get(input);
        const auto* readings = static_cast<const std::int16_t*>(zepl::pbuf_get_data_ptr(input));
        auto* results = static_cast<Result*>(zepl::pbuf_get_data_ptr(output));
        for (std::int32_t i = 0; i < n; ++i) results[i] = wrap<Result>(state.next(readings[i]));
        zepl::pbuf_put_set_cnt(output, n);
    }
}

// For a host without block transfer.
template <class Result>
[[noreturn]] void countValues(QdCount state) {
    start<Result>(state);
    for (;;) {
        std::int16_t reading;
        zepl::pipe_value_get(state.src, &reading);
        const auto result = wrap<Result>(state.next(reading));
        zepl::pipe_value_put(state.dest, &result);
    }
}

// Results that are as wide as the readings take their place.
PbufHandle openInPlaceOf(PbufHandle input, PipeHandle dest) {
    return openPbufOn(dest, zepl::pbuf_get_data_ptr(input), zepl::pbuf_get_min_cnt(input),
                      zepl::pbuf_get_max_cnt(input));
}

}  // namespace

std::uint32_t qdcount(ParamList list) {
    const QdCount state = readParameters(list);
    const bool wide = state.destType == pipeInt32;
    zepl::pipe_open(state.src, zepl::OpenMode::read);
    zepl::pipe_open(state.dest, zepl::OpenMode::write);
    if (zepl::sys_get_info(SysInfo::blockTransfer) == 0) {
        if (wide) countValues<std::int32_t>(state);
        countValues<std::int16_t>(state);
    }
    const auto n = static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock));
    const PbufHandle input = zepl::pbuf_open(state.src, n);
    if (wide) countBlocks<std::int32_t>(state, input, zepl::pbuf_open(state.dest, n));
    countBlocks<std::int16_t>(state, input, openInPlaceOf(input, state.dest));
}

}  // namespace zcmds
