// ALARM sets a digital output as soon as a sample lies inside (or outside) given limits. The output goes back when the
// signal has left the region, or, with a `reset` time, when that has passed.

#include <algorithm>

#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const alarmSignature =
    "( const    pipe       (int16|int32|float|double)   scan ,   [ const    storage    (int16|uint16)  port , ]   "
    "const    storage    keyword  region     test ,   const    storage    elementof(scan)     testlow ,   "
    "const    storage    elementof(scan)     testhigh ,   const    storage    (int16|uint16)      outbit   [ , "
    "const    storage    (int16|int32)  reset ] )";

namespace {

constexpr std::int32_t blockSize = 256;
constexpr std::uint32_t bitsOfPort = 16;
// While it pauses, the task keeps the pipe from filling: by slices of the time it drains it, until a look finds so little
// that another is not worth while.
constexpr std::int32_t drainLimit = 2048, drained = 40;
constexpr std::uint32_t maxSlice = 20;

struct AlarmConfig {
    PipeHandle scan;
    std::uint16_t bit;        // the output: the bit of its port, and 16 for each port
    std::int16_t test;        // 0 is inside, 1 is outside, others are never met
    Cell testlow, testhigh;   // of the element type of `scan`
    std::uint32_t reset = 0;  // how long an alarm lasts; 0 is as long as the signal stays in the region
};

ParamMask constantOfElement(ParamMask pipeType) {
    switch (pipeType) {
        case pipeInt16:
            return constantInt16;
        case pipeInt32:
            return constantInt32;
        case pipeFloat:
            return constantFloat;
        default:
            return constantDouble;
    }
}

// Whether one of the samples is in the region.
template <class Element>
ZCMDS_VECTOR_CLONES bool anyMeets(const AlarmConfig& config, const Element* from, std::int32_t n) {
    const auto low = config.testlow.as<Element>(), high = config.testhigh.as<Element>();
    int met = 0;
    if (config.test == 0)
        for (std::int32_t i = 0; i < n; ++i)
            met |= static_cast<int>(low <= from[i]) & static_cast<int>(from[i] <= high);
    else if (config.test == 1)
        for (std::int32_t i = 0; i < n; ++i) met |= static_cast<int>(from[i] < low) | static_cast<int>(from[i] > high);
    return met != 0;
}

// Lets `reset` pass and drops what comes meanwhile.
void sitOut(const AlarmConfig& config) {
    for (std::uint32_t left = config.reset; left != 0;) {
        const std::uint32_t slice = std::min(left, maxSlice);
        std::int32_t n;
        do {
            n = zepl::pipe_num_complete(config.scan, drainLimit);
            if (n != 0) zepl::pipe_rem(config.scan, n);
        } while (n > drained);
        zepl::task_pause(slice);
        left -= slice;
    }
}

// A block of 0 shows no sample, so another is got.
std::int32_t nextBlock(PbufHandle pbuf) {
    std::int32_t c = 0;
    while (c == 0) c = zepl::pbuf_get(pbuf);
    return c;
}

template <class Element>
[[noreturn]] void watch(const AlarmConfig& config, PbufHandle pbuf) {
    const auto* block = static_cast<const Element*>(zepl::pbuf_get_data_ptr(pbuf));
    for (;;) {
        zepl::digital_set_bit(config.bit, 0);
        std::int32_t c = nextBlock(pbuf);
        while (!anyMeets(config, block, c)) c = nextBlock(pbuf);
        zepl::digital_set_bit(config.bit, 1);
        if (config.reset != 0) {
            sitOut(config);
        } else {
            // Only the last sample of a block decides whether the signal is still in the region.
            while (anyMeets(config, block + c - 1, 1)) c = nextBlock(pbuf);
            zepl::task_switch();
        }
    }
}

void readConfig(ParamList list, const Slot* params, std::int32_t count, AlarmConfig& config) {
    const bool hasPort = zepl::param_type(list, 2) == constantInt16;
    const std::int32_t k = hasPort ? 1 : 0;
    const ParamMask limitKind = constantOfElement(zepl::param_type(list, 1));
    if (zepl::param_type(list, k + 2) != hostKeyword) zepl::param_error_msg(ParamError::wrongKind, k + 2);
    for (const std::int32_t limit : {k + 3, k + 4})
        if (zepl::param_type(list, limit) != limitKind) zepl::param_error_msg(ParamError::wrongKind, limit);
    // With a port, a list of the minimum length ends before the bit.
    if (count < k + 5) zepl::param_error_msg(ParamError::missing, k + 5);
    const std::uint16_t port = hasPort ? *valueIn<std::uint16_t>(params[2]) : std::uint16_t{0},
                        outbit = *valueIn<std::uint16_t>(params[k + 5]);
    if (hasPort && outbit >= bitsOfPort) zepl::param_error_msg(ParamError::outOfRange, 5);
    config.scan = handleIn<PipeHandle>(params[1]);
    config.bit = static_cast<std::uint16_t>(outbit + bitsOfPort * port);
    config.test = wrap<std::int16_t>(*valueIn<std::int32_t>(params[k + 2]));
    config.testlow = cellIn(params[k + 3]);
    config.testhigh = cellIn(params[k + 4]);
    if (count == k + 6)
        config.reset = static_cast<std::uint32_t>(integerIn(params[k + 6], zepl::param_type(list, k + 6)));
}

}  // namespace

std::uint32_t alarm(ParamList list) {
    constexpr ParamMask limitOrKeyword = constantScalar | hostKeyword;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 7, anyPipe, constantInt16 | hostKeyword, limitOrKeyword,
                                             constantScalar, constantScalar, constantInteger, constantInteger);
    AlarmConfig config;
    readConfig(list, params, count, config);
    zepl::pipe_open(config.scan, zepl::OpenMode::read);
    const PbufHandle pbuf = zepl::pbuf_open(config.scan, blockSize);
    return forElementType(zepl::param_type(list, 1),
                          [&]<class Element>() -> std::uint32_t { watch<Element>(config, pbuf); });
}

}  // namespace zcmds
