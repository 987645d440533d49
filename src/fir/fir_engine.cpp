#include "fir/fir_engine.h"

#include <cstddef>
#include <cstring>

#include "frame/element_type.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"

namespace zcmds {

namespace {

// Waits until at least `min` elements can be read, and returns how many there are, at most `max`. It polls, since the
// block is to be as large as what has come.
std::int32_t waitForElements(PipeHandle pipe, std::int32_t min, std::int32_t max) {
    std::int32_t n = zepl::pipe_num_complete(pipe, max);
    while (n < min) {
        zepl::task_switch();
        n = zepl::pipe_num_complete(pipe, max);
    }
    return n;
}

// Takes the whole frames among `elements` that are there to where srcBuf points.
void takeFrames(FirState& state, std::int32_t elements) {
    const std::int32_t taken = elements / state.nchans;
    state.available += taken;
    zepl::pbuf_set_min_cnt(state.srcBuf, state.nchans * taken);
    zepl::pbuf_set_max_cnt(state.srcBuf, state.nchans * taken);
    zepl::pbuf_get(state.srcBuf);
}

// Moves the `n` elements from position `from` on to the head, but only those at even places: that is how these filters'
// output is defined. An element at an odd place keeps what it held.
template <class Element>
ZCMDS_VECTOR_CLONES void moveToHead(Element* data, std::int32_t from, std::int32_t n) {
    // Every place is written, with what it held or with what it gets: so the loop runs in vectors.
    for (std::int32_t i = 0; i < n; ++i) {
        const Element held = data[i], moved = data[from + i];
        data[i] = i % 2 == 0 ? moved : held;
    }
}

template <class Element>
[[noreturn]] void runPasses(FirState& state, const FirCoefficients& coefficients) {
    auto* const data = static_cast<Element*>(state.srcData);
    for (;;) {
        state.outCount = 0;
        state.inner(state, coefficients);
        zepl::pbuf_put_set_cnt(state.destBuf, state.nchans * state.outCount);

        const std::int32_t unused = state.available - state.start, elements = state.nchans * unused;
        moveToHead(data, state.nchans * state.start, elements);
        zepl::pbuf_set_data_ptr(state.srcBuf, data + elements);
        state.available = unused;
        state.start = 0;
        takeFrames(state, waitForElements(state.src, state.minBlock, state.srcCapacity - elements));
    }
}

}  // namespace

void firOpen(FirState& state, std::int32_t length) {
    state.available = 0;
    state.start = 0;
    state.outCount = 0;
    state.minBlock = state.nchans * state.decimation;
    state.frames = length + firHeadroom;
    state.srcCapacity = state.frames * state.nchans;
    state.destCapacity = state.srcCapacity / state.decimation;

    zepl::pipe_open(state.src, zepl::OpenMode::read);
    zepl::pipe_open(state.dest, zepl::OpenMode::write);
    state.srcBuf = zepl::pbuf_open(state.src, state.srcCapacity);
    state.destBuf = zepl::pbuf_open(state.dest, state.destCapacity);
    state.srcData = zepl::pbuf_get_data_ptr(state.srcBuf);
    state.destData = zepl::pbuf_get_data_ptr(state.destBuf);
    zepl::pbuf_set_min_cnt(state.srcBuf, state.minBlock);
    zepl::pbuf_set_min_cnt(state.destBuf, state.nchans);
    zepl::pbuf_set_max_cnt(state.srcBuf, state.srcCapacity);
    zepl::pbuf_set_max_cnt(state.destBuf, state.destCapacity);
}

void firPrime(FirState& state, const FirCoefficients& coefficients) {
    const std::int32_t zeros = state.nchans * coefficients.align;
    forElementType(state.srcType, [&]<class Element>() -> std::uint32_t {
        auto* const data = static_cast<Element*>(state.srcData);
        std::memset(data, 0, static_cast<std::size_t>(zeros) * sizeof(Element));
        const std::int32_t min = (coefficients.length - coefficients.align) * state.nchans;
        const std::int32_t n = waitForElements(state.src, min, state.srcCapacity - zeros);
        zepl::pbuf_set_data_ptr(state.srcBuf, data + zeros);
        state.available = coefficients.align;
        takeFrames(state, n);
        return 0;
    });
}

std::uint32_t firRun(FirState& state, const FirCoefficients& coefficients) {
    return forElementType(state.srcType,
                          [&]<class Element>() -> std::uint32_t { runPasses<Element>(state, coefficients); });
}

}  // namespace zcmds
