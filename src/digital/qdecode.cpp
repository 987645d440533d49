// QDECODE decodes the two signals of a quadrature encoder, on neighbouring bits of a digital port, into a position.

#include "frame/exact.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"

namespace zcmds {

const char* const qdecodeSignature =
    "( in     pipe     int16  digport ,   const  storage  int16  bitpair ,   ( out     storage  int32  dest  |     "
    "out     pipe     int32  dest )   [ , const   storage  int16  decim ] )";

namespace {

constexpr std::int32_t capacity = 256;

// What a new value of the pair does: the step of the position and the state, the last value that was a legal move. Forward
// is 0, 1, 3, 2, 0. Where both bits have changed a step was lost: it counts nothing, and the state stays.
struct Move {
    std::int8_t step;
    std::uint8_t state;
};
constexpr Move moves[4][4] = {
    {{0, 0}, {1, 1}, {-1, 2}, {0, 0}},
    {{-1, 0}, {0, 1}, {0, 1}, {1, 3}},
    {{1, 0}, {0, 2}, {0, 2}, {-1, 3}},
    {{0, 3}, {-1, 1}, {1, 2}, {0, 3}},
};

struct Decoder {
    PbufHandle digport;
    std::uint32_t bitpair;  // the pair's lower bit
    std::uint32_t state = 0;

    std::uint32_t pairOf(std::int16_t sample) const {
        return std::uint32_t{static_cast<std::uint16_t>(sample)} >> bitpair & 3;
    }

    // Waits for the first sample, which sets the state.
    std::int32_t start() {
        std::int32_t n;
        do n = zepl::pbuf_get(digport);
        while (n == 0);
        state = pairOf(*samples());
        return n;
    }
    const std::int16_t* samples() const { return static_cast<const std::int16_t*>(zepl::pbuf_get_data_ptr(digport)); }

    std::int32_t stepTo(std::int16_t sample) {
        const Move move = moves[state][pairOf(sample)];
        state = move.state;
        return move.step;
    }
};

// The position is the variable itself, a 32-bit word.
[[noreturn]] void decodeIntoVariable(Decoder decoder, std::int32_t& position) {
    std::int32_t n = decoder.start();
    position = 0;
    for (;; n = zepl::pbuf_get(decoder.digport)) {
        const std::int16_t* samples = decoder.samples();
        std::int32_t steps = 0;
        for (std::int32_t i = 0; i < n; ++i) steps += decoder.stepTo(samples[i]);
        position = wrappingSum(position, steps);
    }
}

// Every decim-th position goes to the pipe; a `decim` of 0 is one of 65536, since the count is asked after it was reduced.
[[noreturn]] void decodeIntoPipe(Decoder decoder, PbufHandle dest, std::uint16_t decim) {
    std::int32_t n = decoder.start(), position = 0;
    std::uint16_t left = decim;
    for (;; n = zepl::pbuf_get(decoder.digport)) {
        const std::int16_t* samples = decoder.samples();
        auto* positions = static_cast<std::int32_t*>(zepl::pbuf_get_data_ptr(dest));
        std::int32_t outputs = 0;
        for (std::int32_t i = 0; i < n; ++i) {
            position = wrappingSum(position, decoder.stepTo(samples[i]));
            if (--left != 0) continue;
            positions[outputs++] = position;
            left = decim;
        }
        if (outputs > 0) zepl::pbuf_put_set_cnt(dest, outputs);
    }
}

}  // namespace

std::uint32_t qdecode(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 3, 4, pipeInt16, constantInt16, variableInt32 | pipeInt32, constantInt16);
    const auto digport = handleIn<PipeHandle>(params[1]);
    zepl::pipe_open(digport, zepl::OpenMode::read);
    const Decoder decoder{.digport = zepl::pbuf_open(digport, capacity), .bitpair = *valueIn<std::uint16_t>(params[2])};
    const ParamMask destKind = zepl::param_type(list, 3);
    if (decoder.bitpair > 14) zepl::param_error_msg(ParamError::outOfRange, 2);
    if (decoder.bitpair % 2 != 0) zepl::param_error_msg(ParamError::notPositive, 2);
    if (count == 4 && destKind != pipeInt32) zepl::param_error_msg(ParamError::wrongKind, 3);
    if (destKind == variableInt32) decodeIntoVariable(decoder, *valueIn<std::int32_t>(params[3]));
    const auto dest = handleIn<PipeHandle>(params[3]);
    zepl::pipe_open(dest, zepl::OpenMode::write);
    const PbufHandle destPbuf = zepl::pbuf_open(dest, capacity);
    decodeIntoPipe(decoder, destPbuf, count == 4 ? *valueIn<std::uint16_t>(params[4]) : std::uint16_t{1});
}

}  // namespace zcmds
