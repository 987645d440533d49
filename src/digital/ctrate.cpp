// CTRATE gives the steps of a free-running 16-bit counter from reading to reading. The first one is 0.

#include "digital/counter.h"
#include "frame/vector_clones.h"
#include "module/commands.h"

namespace zcmds {

const char* const ctrateSignature = "( const  pipe    int16   ticks ,  out    pipe    (int16|int32)  change  )";

namespace {

// Of `n` readings, at least one.
template <class Result>
ZCMDS_VECTOR_CLONES void stepsOf(const std::int16_t* readings, std::int32_t n, std::int16_t previous, Result* steps) {
    steps[0] = static_cast<Result>(countsBetween(previous, readings[0]));
    for (std::int32_t i = 1; i < n; ++i) steps[i] = static_cast<Result>(countsBetween(readings[i - 1], readings[i]));
}

template <class Result>
[[noreturn]] void differentiate(CounterStreams streams) {
    const std::int16_t* readings = streams.readings();
    std::int32_t n;
    do n = zepl::pbuf_get(streams.ticks);
    while (n == 0);
    std::int16_t previous = readings[0];
    for (;; n = zepl::pbuf_get(streams.ticks)) {
        if (n == 0) continue;
        stepsOf(readings, n, previous, streams.results<Result>());
        previous = readings[n - 1];
        zepl::pbuf_put_set_cnt(streams.output, n);
    }
}

}  // namespace

std::uint32_t ctrate(ParamList list) {
    const CounterStreams streams = openCounterStreams(list);
    if (zepl::param_type(list, 2) == pipeInt32) differentiate<std::int32_t>(streams);
    differentiate<std::int16_t>(streams);
}

}  // namespace zcmds
