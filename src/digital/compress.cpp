// COMPRESS reduces a multiplexed stream to a record of change: it writes a record where a channel has moved by its threshold
// or more since its last record.

#include <cstdlib>

#include "frame/mask_list.h"
#include "host/memory.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "host/vectors.h"
#include "module/commands.h"

namespace zcmds {

const char* const compressSignature =
    "( in     pipe     int16   mulsrc ,   const  storage  int16   nchan     (   , "
    "const  storage  int16 vector[valueof(nchan)]  chanvec   |     [ , const  storage  int16  chanvec ]+  ) ,   "
    "out    pipe     int16   compr )";

namespace {

constexpr std::int32_t inputCapacity = 1024, outputCapacity = 4096;
constexpr std::int32_t maxChannels = 1024, maxSingleThresholds = 16;

// What is written on a change.
struct ChangeRecord {
    std::uint16_t channel;
    std::int16_t value;
    std::uint16_t frameLow, frameHigh;  // the frame's number; frame 0 is the first record of every channel
};
constexpr std::int32_t recordSize = sizeof(ChangeRecord) / sizeof(std::int16_t);

struct Compressor {
    PipeHandle mulsrc{};
    PbufHandle input{}, output{};
    std::int32_t nchan = 0;                           // samples in a frame, one of each channel
    const std::int16_t* const* thresholds = nullptr;  // of each channel, in its place: it can change meanwhile
    std::int16_t* last = nullptr;                     // value of each channel's last record
    std::uint32_t frame = 0;
    std::int32_t pending = 0;  // elements in the output's data area

    void record(std::int32_t channel, std::int16_t value) {
        auto* records = static_cast<ChangeRecord*>(zepl::pbuf_get_data_ptr(output));
        records[pending / recordSize] = {static_cast<std::uint16_t>(channel), value, static_cast<std::uint16_t>(frame),
                                         static_cast<std::uint16_t>(frame >> 16)};
        pending += recordSize;
        last[channel] = value;
        if (pending >= outputCapacity) publish();
    }

    void publish() {
        if (pending != 0) zepl::pbuf_put_set_cnt(output, pending);
        pending = 0;
    }

    // Every channel's first value is recorded.
    void takeFirstFrame() {
        void* const ownArea = zepl::pbuf_get_data_ptr(input);
        setCounts(nchan, nchan);
        zepl::pbuf_set_data_ptr(input, last);
        while (zepl::pbuf_get(input) == 0) {
        }
        for (std::int32_t i = 0; i < nchan; ++i) record(i, last[i]);
        publish();
        setCounts(1, inputCapacity);
        zepl::pbuf_set_data_ptr(input, ownArea);
        frame = 1;
    }

    void takeFrames(std::int32_t frames) {
        setCounts(frames * nchan, frames * nchan);
        zepl::pbuf_get(input);
        const auto* x = static_cast<const std::int16_t*>(zepl::pbuf_get_data_ptr(input));
        for (; frames > 0; --frames, ++frame, x += nchan)
            for (std::int32_t i = 0; i < nchan; ++i)
                if (std::abs(x[i] - last[i]) >= *thresholds[i]) record(i, x[i]);
    }

    void setCounts(std::int32_t min, std::int32_t max) {
        zepl::pbuf_set_min_cnt(input, min);
        zepl::pbuf_set_max_cnt(input, max);
    }

    // Output leaves when it fills, or when less than a frame waits.
    [[noreturn]] void run() {
        takeFirstFrame();
        for (;;) {
            const std::int32_t available = zepl::pipe_num_complete(mulsrc, inputCapacity);
            if (available >= nchan) {
                takeFrames(available / nchan);
                continue;
            }
            publish();
            zepl::task_switch();
        }
    }
};

void checkThresholdCount(ParamList list, const Slot* params, std::int32_t count, std::int32_t nchan) {
    if (nchan > maxChannels || nchan < 1) zepl::param_error_msg(ParamError::outOfRange, 2);
    if (count > 4 && nchan + 3 < count) zepl::param_error_msg(ParamError::tooMany, nchan + 4);
    if (count > 4 && nchan + 3 > count) zepl::param_error_msg(ParamError::missing, count + 1);
    if (zepl::param_type(list, 3) != vectorInt16) return;
    if (count > 4) zepl::param_error_msg(ParamError::tooMany, 5);
    if (zepl::vector_length(handleIn<VectorHandle>(params[3])) != nchan)
        zepl::param_error_msg(ParamError::vectorLengthMismatch, 3);
}

// From a vector, from one value for each channel, or from one for all.
const std::int16_t* const* thresholdsOf(ParamList list, const Slot* params, std::int32_t count, std::int32_t nchan) {
    auto** thresholds =
        static_cast<const std::int16_t**>(zepl::ralloc(static_cast<std::size_t>(nchan) * sizeof(const std::int16_t*)));
    if (zepl::param_type(list, 3) == vectorInt16) {
        const auto* first = static_cast<const std::int16_t*>(zepl::vector_start(handleIn<VectorHandle>(params[3])));
        for (std::int32_t i = 0; i < nchan; ++i) thresholds[i] = first + i;
        return thresholds;
    }
    for (std::int32_t i = 0; i < nchan; ++i) {
        const std::int32_t position = count == 4 ? 3 : 3 + i;
        if (zepl::param_type(list, position) == pipeInt16) zepl::param_error_msg(ParamError::wrongKind, position);
        thresholds[i] = valueIn<std::int16_t>(params[position]);
    }
    return thresholds;
}

}  // namespace

std::uint32_t compress(ParamList list) {
    // Position 19 is the last that has a mask of its own; a pipe must be there, so sixteen thresholds can be given one by
    // one. The group after it is there for longer lists, which are refused.
    constexpr ParamMask threshold = constantInt16 | variableInt16, thresholdOrEnd = threshold | pipeInt16;
    std::int32_t count;
    const Slot* params = processList(
        list, &count, 4, maxChannels + 3, std::tuple(pipeInt16, constantInt16, threshold | vectorInt16),
        times<maxSingleThresholds - 1>(thresholdOrEnd), std::tuple(pipeInt16, beginRepeat, thresholdOrEnd, endRepeat));
    const std::int32_t nchan = *valueIn<std::int16_t>(params[2]);
    checkThresholdCount(list, params, count, nchan);
    Compressor compressor;
    compressor.nchan = nchan;
    compressor.thresholds = thresholdsOf(list, params, count, nchan);
    // The masks admit a value at the end as well.
    if (zepl::param_type(list, count) != pipeInt16) zepl::param_error_msg(ParamError::wrongKind, count);
    compressor.mulsrc = handleIn<PipeHandle>(params[1]);
    const auto compr = handleIn<PipeHandle>(params[count]);
    zepl::pipe_open(compressor.mulsrc, zepl::OpenMode::read);
    zepl::pipe_open(compr, zepl::OpenMode::write);
    compressor.input = zepl::pbuf_open(compressor.mulsrc, inputCapacity);
    compressor.output = zepl::pbuf_open(compr, outputCapacity);
    compressor.last = static_cast<std::int16_t*>(zepl::ralloc(static_cast<std::size_t>(nchan) * sizeof(std::int16_t)));
    compressor.run();
}

}  // namespace zcmds
