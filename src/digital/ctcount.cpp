// CTCOUNT adds the steps of a free-running 16-bit counter up to a total. The first reading counts in full, from 0.

#include "digital/counter.h"
#include "frame/exact.h"
#include "module/commands.h"

namespace zcmds {

const char* const ctcountSignature = "( const  pipe    int16   ticks,  out    pipe    (int16|int32)  accum )";

namespace {

template <class Result>
[[noreturn]] void accumulate(CounterStreams streams) {
    std::int16_t previous = 0;
    std::uint32_t total = 0;
    for (;;) {
        const std::int32_t n = zepl::pbuf_get(streams.ticks);
        const std::int16_t* readings = streams.readings();
        auto* totals = streams.results<Result>();
        for (std::int32_t i = 0; i < n; ++i) {
            total += countsBetween(previous, readings[i]);
            previous = readings[i];
            totals[i] = static_cast<Result>(total);
        }
        zepl::pbuf_put_set_cnt(streams.output, n);
    }
}

}  // namespace

std::uint32_t ctcount(ParamList list) {
    const CounterStreams streams = openCounterStreams(list);
    if (zepl::param_type(list, 2) == pipeInt32) accumulate<std::int32_t>(streams);
    accumulate<std::int16_t>(streams);
}

}  // namespace zcmds
