// Readings of a free-running 16-bit counter that goes upward only.
#pragma once

#include <cstdint>

#include "frame/types.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"

namespace zcmds {

// How far the counter has gone from one reading to the next, 0 to 65535.
constexpr std::uint16_t countsBetween(std::int16_t previous, std::int16_t x) {
    return static_cast<std::uint16_t>(x - previous);
}

// The streams of a command that turns readings into as many results.
struct CounterStreams {
    PbufHandle ticks;   // int16
    PbufHandle output;  // int16 or int32

    const std::int16_t* readings() const { return static_cast<const std::int16_t*>(zepl::pbuf_get_data_ptr(ticks)); }
    template <class Result>
    Result* results() const {
        return static_cast<Result*>(zepl::pbuf_get_data_ptr(output));
    }
};

// The set-up of a command (ticks, output).
inline CounterStreams openCounterStreams(ParamList list) {
    constexpr std::int32_t capacity = 256;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, pipeInt16, integerPipe);
    const auto ticks = handleIn<PipeHandle>(params[1]), output = handleIn<PipeHandle>(params[2]);
    zepl::pipe_open(ticks, zepl::OpenMode::read);
    zepl::pipe_open(output, zepl::OpenMode::write);
    CounterStreams streams;
    streams.output = zepl::pbuf_open(output, capacity);
    streams.ticks = zepl::pbuf_open(ticks, capacity);
    return streams;
}

}  // namespace zcmds
