// PULSECOUNT counts the rising edges of one bit of a digital stream into a variable, modulo 65536.

#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"

namespace zcmds {

const char* const pulsecountSignature =
    "( const  pipe    int16   digital ,  const  storage int16   mask ,  out    storage (int16|int32)  accum )";

namespace {

// Of `n` samples, at least one, that follow `previous`.
ZCMDS_VECTOR_CLONES std::uint32_t risingEdges(const std::int16_t* samples, std::int32_t n, std::int16_t previous,
                                              std::int16_t bit) {
    std::uint32_t edges = (samples[0] & ~previous & bit) != 0;
    for (std::int32_t i = 1; i < n; ++i) edges += (samples[i] & ~samples[i - 1] & bit) != 0;
    return edges;
}

}  // namespace

std::uint32_t pulsecount(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, pipeInt16, constantInt16, variableInteger);
    // Despite its name a bit's number. The bits from 16 on are in no sample, so they never count.
    const std::int16_t mask = *valueIn<std::int16_t>(params[2]);
    if (mask < 0 || mask >= 32) zepl::param_error_msg(ParamError::outOfRange, 2);
    const auto bit = wrap<std::int16_t>(std::uint32_t{1} << mask);
    const auto digital = handleIn<PipeHandle>(params[1]);
    zepl::pipe_open(digital, zepl::OpenMode::read);
    const PbufHandle pbuf = zepl::pbuf_open(digital, 256);
    // 32 bits are written whatever the variable's kind, so a count above 32767 shows in the upper half of a 16-bit cell.
    auto* const accum = valueIn<std::uint32_t>(params[3]);
    *accum = 0;
    std::int16_t previous = bit;  // a bit that is high from the start is no pulse
    for (;;) {
        const std::int32_t n = zepl::pbuf_get(pbuf);
        if (n == 0) continue;
        const auto* samples = static_cast<const std::int16_t*>(zepl::pbuf_get_data_ptr(pbuf));
        const std::uint32_t edges = risingEdges(samples, n, previous, bit);
        // Counts on from what another task has written meanwhile.
        if (edges != 0) *accum = (*accum + edges) & 0xFFFF;
        previous = samples[n - 1];
    }
}

}  // namespace zcmds
