// MTSFILT brings the channels of a scanned int16 stream to one instant. A scanner takes the samples of a frame one after
// another; each channel goes through a low-pass that delays it by what it was taken too early, and the stream is decimated
// on the way. All arithmetic is in integers.
//
// The frames stay in the order in which they came, and the kernels lie beside them, channel by channel: then neighbours
// in memory are neighbours in the output too, and a vector of channels (or, undecimated, of frames) is filtered at once.
// Nothing is transposed.

#include <algorithm>
#include <cstddef>

#include "fir/mtsfilt_kernels.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const mtsfiltSignature =
    "( in    pipe      int16       mulsrc ,   const storage   int16       nchan ,   "
    "[ const storage   int16       ngroups , ]   const storage   int16       xdecim ,   "
    "out   pipe      int16       muldest )";

namespace {

constexpr std::int32_t maxChannels = 512;
constexpr std::int32_t bigBlock = 2048;       // elements of a decimated frame from which each output is a block
constexpr std::int32_t batchElements = 4096;  // elements that a batch of outputs is made from
constexpr std::int32_t vectorLanes = 16;      // outputs that are filtered at once; 8 where a frame has no more
constexpr std::int32_t maxLanes = 64;         // narrow frames are taken together, undecimated, up to as many lanes

struct MtsState {
    std::int32_t nchan;              // channels of a frame, 2 to 512
    std::int32_t ngroups;            // channels that share a time slot, 1 to 32
    std::int32_t xdecim;             // input frames for each output frame, 1 to 32
    PipeHandle mulsrc;               // the scanned stream
    PipeHandle muldest;              // the aligned stream
    PbufHandle srcBuf;               // reads into `in`
    PbufHandle destBuf;              // writes from `in`, or from `work` where outputs are made while input waits there
    std::int32_t skip;               // elements between the frames of two outputs, which nothing needs
    std::int32_t batch;              // maximum number of outputs made at once
    std::int32_t frames;             // frames that `in` holds
    std::int32_t together;           // output frames that have their kernels side by side in `taps`
    std::int32_t tapStep;            // from one tap of a lane to the next in `taps`
    std::int32_t rows[maxChannels];  // the kernel of each channel
    std::int16_t* in;                // what was read, or what is to be written
    std::int16_t* work;              // the frames to be filtered where some are kept, otherwise the results
    std::int16_t* taps;              // the kernels of the lanes: of each frame that is taken together, its channels
};

// The slot whose samples are the last of a frame has the minimum delay; the others wait for it.
void mtsAssignRows(MtsState& state) {
    const std::int32_t slots = state.nchan / state.ngroups;
    for (std::int32_t c = 0; c < state.nchan; ++c) {
        const std::int32_t slot = c / state.ngroups;
        state.rows[c] = (slots - 1 - slot) * 256 / slots;
    }
}

// Sixteen elements at equal distances.
struct Column {
    const std::int16_t* first;
    std::ptrdiff_t step;

    [[gnu::always_inline]] std::int32_t operator[](std::ptrdiff_t k) const { return first[k * step]; }
};

// One output of one channel, rounded towards minus infinity. No row can make the sum pass 31 bits.
[[gnu::always_inline]] inline std::int16_t mtsDot(Column row, Column samples) {
    const std::int32_t sum = row[0] * samples[0] + row[1] * samples[1] + row[2] * samples[2] + row[3] * samples[3] +
                             row[4] * samples[4] + row[5] * samples[5] + row[6] * samples[6] + row[7] * samples[7] +
                             row[8] * samples[8] + row[9] * samples[9] + row[10] * samples[10] + row[11] * samples[11] +
                             row[12] * samples[12] + row[13] * samples[13] + row[14] * samples[14] +
                             row[15] * samples[15];
    return saturate<std::int16_t>(sum >> 15);
}

// `count` output frames from `frames` on. Undecimated, the frames of neighbouring outputs are neighbours too, and the lanes
// span several of them. `Width` lanes are filtered at once; those past the last are made from what follows, and dropped.
// The results pass through an array of this routine's own: of that the compiler knows that it overlaps none of what is
// read.
template <std::int32_t Width>
ZCMDS_VECTOR_CLONES void filterLanes(const MtsState& state, std::int32_t count, const std::int16_t* frames,
                                     std::int16_t* outputs) {
    const std::int32_t nchan = state.nchan, tapStep = state.tapStep, step = state.together * state.xdecim * nchan;
    const std::int16_t* taps = state.taps;
    for (; count > 0; count -= state.together, frames += step) {
        const std::int32_t lanes = std::min(state.together, count) * nchan;
        for (std::int32_t first = 0; first < lanes; first += Width) {
            std::int16_t results[Width];
            for (std::int32_t l = 0; l < Width; ++l)
                results[l] = mtsDot({taps + first + l, tapStep}, {frames + first + l, nchan});
            outputs = std::copy_n(results, std::min(Width, lanes - first), outputs);
        }
    }
}

void filterFrames(const MtsState& state, std::int32_t count, const std::int16_t* frames, std::int16_t* outputs) {
    const auto filter = state.together * state.nchan <= 8 ? filterLanes<8> : filterLanes<vectorLanes>;
    filter(state, count, frames, outputs);
}

// Set-up that all variants share. `work` lies directly after `in`; the kernels lie after both, so that there is memory
// after every frame.
void openAreas(MtsState& state, std::int32_t inFrames, std::int32_t workFrames, std::int32_t together) {
    const std::int32_t lanes = together * state.nchan;
    const auto elements = [&](std::int32_t frames) { return static_cast<std::size_t>(frames * state.nchan); };
    state.frames = inFrames;
    state.together = together;
    state.tapStep = (lanes + vectorLanes - 1) / vectorLanes * vectorLanes;
    const auto tapElements = static_cast<std::size_t>(mtsTaps * state.tapStep);
    state.in = static_cast<std::int16_t*>(
        zepl::ralloc((elements(inFrames + workFrames) + tapElements) * sizeof(std::int16_t)));
    state.work = state.in + elements(inFrames);
    state.taps = state.work + elements(workFrames);
    // The lanes past the last get kernels too: with any samples these keep a sum within 31 bits.
    for (std::int32_t k = 0; k < mtsTaps; ++k)
        for (std::int32_t l = 0; l < state.tapStep; ++l)
            state.taps[k * state.tapStep + l] = mtsKernels[state.rows[l % state.nchan] & 0xff][k];
}

void openPipes(MtsState& state, std::int16_t* destData) {
    zepl::pipe_open(state.mulsrc, zepl::OpenMode::read);
    zepl::pipe_open(state.muldest, zepl::OpenMode::write);
    state.srcBuf = zepl::pbuf_open(state.mulsrc, 0);
    state.destBuf = zepl::pbuf_open(state.muldest, 0);
    zepl::pbuf_set_data_ptr(state.srcBuf, state.in);
    zepl::pbuf_set_data_ptr(state.destBuf, destData);
}

void setCounts(PbufHandle pbuf, std::int32_t min, std::int32_t max) {
    zepl::pbuf_set_min_cnt(pbuf, min);
    zepl::pbuf_set_max_cnt(pbuf, max);
}

// Waits for exactly `n` elements of the input.
void get(MtsState& state, std::int32_t n) {
    setCounts(state.srcBuf, n, n);
    zepl::pbuf_get(state.srcBuf);
}

void dropSkipped(const MtsState& state) {
    if (state.skip >= 1) zepl::pipe_rem(state.mulsrc, state.skip);
}

// Decimation by 16 or more, big frames: no two outputs share a sample, and each is a block.
[[noreturn]] void runFrameByFrame(MtsState& state) {
    openAreas(state, mtsTaps, mtsTaps, 1);
    openPipes(state, state.in);
    setCounts(state.srcBuf, mtsTaps * state.nchan, mtsTaps * state.nchan);
    setCounts(state.destBuf, state.nchan, state.nchan);
    state.skip = (state.xdecim - mtsTaps) * state.nchan;
    for (;;) {
        zepl::pbuf_get(state.srcBuf);
        filterFrames(state, 1, state.in, state.work);
        std::copy_n(state.work, state.nchan, state.in);
        zepl::pbuf_put_set_cnt(state.destBuf, state.nchan);
        dropSkipped(state);
    }
}

// The outputs that what is there suffices for, at least one. The last needs nothing of what follows its own 16 frames.
std::int32_t waitForOutputs(const MtsState& state) {
    for (;;) {
        const std::int32_t n = zepl::pipe_num_complete(state.mulsrc, state.frames * state.nchan);
        const std::int32_t count = (state.skip + n) / (state.nchan * state.xdecim);
        if (count >= 1) return std::min(count, state.batch);
        zepl::task_switch();
    }
}

// Decimation by 16 or more, small frames: as many outputs from a block as are there.
[[noreturn]] void runInBatches(MtsState& state) {
    state.batch = (batchElements / state.nchan - mtsTaps) / state.xdecim + 1;
    openAreas(state, (state.batch - 1) * state.xdecim + mtsTaps, mtsTaps, 1);
    openPipes(state, state.work);
    setCounts(state.srcBuf, mtsTaps * state.nchan, state.frames * state.nchan);
    setCounts(state.destBuf, state.nchan, state.nchan);
    state.skip = (state.xdecim - mtsTaps) * state.nchan;
    const std::int32_t step = state.xdecim * state.nchan;
    for (;;) {
        const std::int32_t count = waitForOutputs(state);
        get(state, step * count - state.skip);
        for (std::int32_t i = 0; i < count; ++i) {
            zepl::task_switch();
            filterFrames(state, 1, state.in + step * i, state.work);
            zepl::pbuf_put_set_cnt(state.destBuf, state.nchan);
        }
        dropSkipped(state);
    }
}

// Decimation below 16, big frames: each output is a block, and the frames that it shares with the next are kept.
//
// The first frames are laid down by the count of a step, not by that of the history that they are. Below a decimation of 8
// the rest of the history is missing and counts as zeros, which the outputs feel until it has passed; from 8 on the
// surplus is overwritten by the first step.
[[noreturn]] void runFrameByFrameWithHistory(MtsState& state) {
    const std::int32_t step = state.xdecim * state.nchan, history = (mtsTaps - state.xdecim) * state.nchan;
    openAreas(state, mtsTaps, mtsTaps, 1);
    std::fill(state.in, state.taps, std::int16_t{0});
    openPipes(state, state.in);
    setCounts(state.srcBuf, step, mtsTaps * state.nchan);
    setCounts(state.destBuf, state.nchan, state.nchan);
    get(state, history);
    std::copy_n(state.in, step, state.work);
    for (;;) {
        get(state, step);
        std::copy_n(state.in, step, state.work + history);
        filterFrames(state, 1, state.work, state.in);
        zepl::pbuf_put_set_cnt(state.destBuf, state.nchan);
        std::copy(state.work + step, state.work + step + history, state.work);
    }
}

// The outputs of the next pass, when there is input for at least one. A pass asks for `xdecim` times as many as what is
// there suffices for, and so waits for more, but never for more than the areas hold beside the history.
std::int32_t waitForPass(const MtsState& state) {
    const std::int32_t step = state.nchan * state.xdecim;
    const std::int32_t held = (state.frames - (mtsTaps - state.xdecim)) / state.xdecim;
    std::int32_t n = zepl::pipe_num_complete(state.mulsrc, bigBlock);
    while (n < step) {
        zepl::task_switch();
        n = zepl::pipe_num_complete(state.mulsrc, bigBlock);
    }
    return std::min({state.xdecim * (n / step), state.batch, held});
}

// Decimation below 16, small frames: many outputs from a block, and the frames that the last shares with the next are kept.
//
// The areas are sized from the outputs of a batch, which is too little for frames so large that their history alone is
// more: then they hold the 16 frames of one output.
[[noreturn]] void runInBatchesWithHistory(MtsState& state) {
    const std::int32_t step = state.xdecim * state.nchan, history = (mtsTaps - state.xdecim) * state.nchan;
    state.batch = std::max((batchElements - history) / step, 1);
    const std::int32_t frames = std::max(state.batch + state.xdecim, mtsTaps);
    openAreas(state, frames, frames, state.xdecim == 1 ? std::max(maxLanes / state.nchan, 1) : 1);
    openPipes(state, state.in);
    setCounts(state.srcBuf, step, frames * state.nchan);
    setCounts(state.destBuf, state.nchan, state.batch * state.nchan);
    get(state, history);
    std::copy_n(state.in, history, state.work);
    for (;;) {
        const std::int32_t count = waitForPass(state);
        get(state, step * count);
        std::copy_n(state.in, zepl::pbuf_get_cnt(state.srcBuf), state.work + history);
        filterFrames(state, count, state.work, state.in);
        zepl::pbuf_set_cnt(state.destBuf, state.nchan * count);
        zepl::pbuf_put(state.destBuf);
        std::copy(state.work + step * count, state.work + step * count + history, state.work);
    }
}

std::int32_t valueAt(const Slot* params, std::int32_t position) { return *valueIn<std::int16_t>(params[position]); }

// Reads the parameters after `nchan`, whose positions depend on whether `ngroups` is there.
void readList(MtsState& state, ParamList list, const Slot* params, std::int32_t count) {
    const bool grouped = count == 5;
    if (zepl::param_type(list, 4) != (grouped ? constantInt16 : pipeInt16))
        zepl::param_error_msg(ParamError::wrongKind, 4);
    state.ngroups = grouped ? valueAt(params, 3) : 1;
    state.xdecim = valueAt(params, grouped ? 4 : 3);
    state.muldest = handleIn<PipeHandle>(params[grouped ? 5 : 4]);
    if (state.ngroups < 1 || state.ngroups > 32) zepl::param_error_msg(ParamError::outOfRange, 3);
}

}  // namespace

std::uint32_t mtsfilt(ParamList list) {
    MtsState state{};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 5, pipeInt16, constantInt16, constantInt16,
                                             pipeInt16 | constantInt16, pipeInt16);
    state.mulsrc = handleIn<PipeHandle>(params[1]);
    state.nchan = valueAt(params, 2);
    readList(state, list, params, count);
    if (state.nchan < 2 || state.nchan > maxChannels) zepl::param_error_msg(ParamError::outOfRange, 2);
    if (state.nchan % state.ngroups != 0) zepl::param_error_msg(ParamError::inconsistentValues, 2);
    if (state.xdecim == 0) state.xdecim = 1;
    // Position 3 is blamed in both forms of the list.
    if (state.xdecim < 1 || state.xdecim > 32) zepl::param_error_msg(ParamError::outOfRange, 3);
    mtsAssignRows(state);
    const bool big = state.nchan * state.xdecim >= bigBlock;
    if (state.xdecim >= mtsTaps && big) runFrameByFrame(state);
    if (state.xdecim >= mtsTaps) runInBatches(state);
    if (big) runFrameByFrameWithHistory(state);
    runInBatchesWithHistory(state);
}

}  // namespace zcmds
