// FINDMAX finds the maximum in a chosen part of each block of a fixed length, such as a spectrum, and reports the
// value, its index in the block and its position in the stream.

#include <functional>

#include "frame/element_type.h"
#include "frame/extreme.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/triggers.h"
#include "module/commands.h"

namespace zcmds {

const char* const findmaxSignature =
    "( const  pipe      (int16|int32|float|double)  src ,   const  storage   (int16|int32)   blocklength ,   "
    "const            keyword region  freqterms ,   in     storage   (int16|int32)  lowindex ,   "
    "in     storage   (int16|int32)  highindex ,   out    typeof(src)  maxvalue    [ , "
    "( out  pipe  (int16|int32)  maxindex         [ , out  trigger  maxevent ]  |         "
    "out  trigger  maxevent         [ , out  pipe  (int16|int32)  maxindex ] )  ]  )";

namespace {

struct FindMaxState {
    PipeHandle src, maxvalue;
    PipeHandle maxindex{};     // none is 0
    TriggerHandle maxevent{};  // none is 0
    std::int32_t blockLength;
    PbufHandle srcPbuf;                             // blocks of exactly blockLength
    std::int32_t firstStart = 0, firstEnd = -1;     // the first range that is searched, both ends inclusive
    std::int32_t secondStart = -1, secondEnd = -1;  // the second; -1 in both if there is none
};

// Positions 7 and 8 are an index pipe and an event in either order.
void readOptionalOutputs(ParamList list, const Slot* params, std::int32_t count, FindMaxState& state) {
    for (std::int32_t i = 7; i <= count; ++i) {
        const bool isEvent = zepl::param_type(list, i) == triggerKind;
        if (isEvent ? state.maxevent != TriggerHandle{} : state.maxindex != PipeHandle{})
            zepl::param_error_msg(ParamError::typeMismatch, i);
        if (isEvent)
            state.maxevent = handleIn<TriggerHandle>(params[i]);
        else
            state.maxindex = handleIn<PipeHandle>(params[i]);
    }
}

void requireConstant(ParamList list, std::int32_t position) {
    if ((zepl::param_type(list, position) & constantInteger) == 0)
        zepl::param_error_msg(ParamError::wrongKind, position);
}

// The region's word is 0 to search from `lowindex` to `highindex` and 1 to search outside.
void setRanges(ParamList list, const Slot* params, FindMaxState& state) {
    requireConstant(list, 4);
    requireConstant(list, 5);
    const std::int32_t low = integerIn(params[4], zepl::param_type(list, 4)),
                       high = integerIn(params[5], zepl::param_type(list, 5)), last = state.blockLength - 1;
    if (low < 0 || low > last) zepl::param_error_msg(ParamError::outOfRange, 4);
    if (high < 0 || high > last) zepl::param_error_msg(ParamError::outOfRange, 5);
    if (low > high) zepl::param_error_msg(ParamError::inconsistentValues, 5);
    const std::int32_t region = *valueIn<std::int32_t>(params[3]);
    if (region == 0) {
        state.firstStart = low;
        state.firstEnd = high;
    } else if (region == 1) {
        if (low == 0 && high == last) zepl::param_error_msg(ParamError::inconsistentValues, 5);
        state.firstStart = low == 0 ? high + 1 : 0;
        state.firstEnd = low == 0 ? last : low - 1;
        if (low != 0 && high != last) {
            state.secondStart = high + 1;
            state.secondEnd = last;
        }
    }
}

// The maximum of the ranges; where nothing exceeds the lowest finite value, that one at index 0.
template <class Element>
ZCMDS_VECTOR_CLONES Extreme<Element, std::greater<>, true> maximumOf(const Element* block, const FindMaxState& state) {
    Extreme<Element, std::greater<>, true> maximum;
    maximum.taken = state.firstStart;
    maximum.add(block + state.firstStart, state.firstEnd - state.firstStart + 1);
    if (state.secondStart >= 0) {
        maximum.taken = state.secondStart;
        maximum.add(block + state.secondStart, state.secondEnd - state.secondStart + 1);
    }
    return maximum;
}

// The event is at the position after the maximum, and the status ends at the end of the block.
void assertAt(TriggerHandle event, std::int32_t index, std::int32_t blockLength) {
    const std::uint32_t start = zepl::trigger_get_status(event),
                        position = start + static_cast<std::uint32_t>(index) + 1,
                        end = start + static_cast<std::uint32_t>(blockLength);
    zepl::trigger_put(event, position);
    if (end != position) zepl::trigger_set_status(event, end);
}

template <class Element>
[[noreturn]] void findInBlocks(const FindMaxState& state) {
    for (;;) {
        zepl::pbuf_get(state.srcPbuf);
        const auto maximum = maximumOf(static_cast<const Element*>(zepl::pbuf_get_data_ptr(state.srcPbuf)), state);
        zepl::pipe_value_put(state.maxvalue, &maximum.extreme);
        if (state.maxindex != PipeHandle{}) zepl::pipe_put(state.maxindex, maximum.position);
        if (state.maxevent != TriggerHandle{}) assertAt(state.maxevent, maximum.position, state.blockLength);
    }
}

}  // namespace

std::uint32_t findmax(ParamList list) {
    constexpr ParamMask indexOrEvent = integerPipe | triggerKind;
    FindMaxState state;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 6, 8, anyPipe, constantInteger, hostKeyword, anyInteger,
                                             anyInteger, anyPipe, indexOrEvent, indexOrEvent);
    if (zepl::param_type(list, 6) != zepl::param_type(list, 1)) zepl::param_error_msg(ParamError::typeMismatch, 6);
    state.src = handleIn<PipeHandle>(params[1]);
    state.maxvalue = handleIn<PipeHandle>(params[6]);
    readOptionalOutputs(list, params, count, state);
    state.blockLength = integerIn(params[2], zepl::param_type(list, 2));
    if (state.blockLength < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    setRanges(list, params, state);
    zepl::pipe_open(state.src, zepl::OpenMode::read);
    state.srcPbuf = zepl::pbuf_open(state.src, state.blockLength);
    zepl::pbuf_set_min_cnt(state.srcPbuf, state.blockLength);
    zepl::pbuf_set_max_cnt(state.srcPbuf, state.blockLength);
    zepl::pipe_open(state.maxvalue, zepl::OpenMode::write);
    if (state.maxindex != PipeHandle{}) zepl::pipe_open(state.maxindex, zepl::OpenMode::write);
    if (state.maxevent != TriggerHandle{}) zepl::trigger_open(state.maxevent, zepl::OpenMode::write);
    return forElementType(zepl::param_type(list, 1),
                          [&]<class Element>() -> std::uint32_t { findInBlocks<Element>(state); });
}

}  // namespace zcmds
