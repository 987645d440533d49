// SKIP thins a stream by a pattern: it drops `preskip` samples once, and then passes `take` samples and drops `skip`, over
// and over.

#include <bit>
#include <cstddef>
#include <cstring>

#include "frame/checks.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/system_info.h"
#include "module/commands.h"
#include "routing/chunk_size.h"
#include "routing/element_word.h"

namespace zcmds {

const char* const skipSignature =
    "( in     pipe      (int16|int32|float|double)  src ,   const  storage   (int16|int32)  preskip ,   "
    "const  storage   (int16|int32)  take ,   const  storage   (int16|int32)  skip ,   out    typeof(src)  dest ) ";

namespace {

struct SkipState {
    PipeHandle src, dest;
    std::int32_t preskip, take, skip;  // samples, none negative
    PbufHandle input{}, output{};      // both on the block, which is thinned in place
    void* block = nullptr;
};

[[noreturn]] void dropAll(const SkipState& state) {
    for (;;) zepl::pipe_rem(state.src, 4096);
}

void passValue(const SkipState& state) {
    std::int64_t element;  // the widest; narrower ones are at its start
    zepl::pipe_value_get(state.src, &element);
    zepl::pipe_value_put(state.dest, &element);
}

[[noreturn]] void passValues(const SkipState& state) {
    for (;;) passValue(state);
}

[[noreturn]] void thinValues(const SkipState& state) {
    for (;;) {
        for (std::int32_t i = 0; i < state.take; ++i) passValue(state);
        zepl::pipe_rem(state.src, state.skip);
    }
}

[[noreturn]] void passBlocks(const SkipState& state) {
    for (;;) zepl::pbuf_put_set_cnt(state.output, zepl::pbuf_get(state.input));
}

// Patterns shorter than this are many in a block, and are kept by a loop of their own.
constexpr std::int64_t longPattern = 32;
static_assert(longPattern <= maxChunk);

// Keeps `take` of each `total` words in a block that ends at `end`, `chunk` of them at a time, which may be more. What is too
// much is written over by the next pattern. At first, until enough is skipped, it would reach into words that are not yet
// read, and at the end past the block; there the words to keep are moved alone.
template <std::int32_t chunk, class Word>
void keepPatterns(Word* to, const Word* from, const Word* end, std::int32_t patterns, std::int32_t take,
                  std::int32_t total) {
    const std::size_t bytes = static_cast<std::size_t>(take) * sizeof(Word);
    std::int32_t i = 0;
    for (; i < patterns && to + chunk > from + total; ++i, from += total, to += take) std::memmove(to, from, bytes);
    for (; i < patterns && end - from >= chunk; ++i, from += total, to += take) {
        Word words[chunk];
        std::memcpy(words, from, sizeof words);
        std::memcpy(to, words, sizeof words);
    }
    for (; i < patterns; ++i, from += total, to += take) std::memmove(to, from, bytes);
}

// Keeps the first of each `step` words, by groups that are read whole before they are written, so that they vectorise.
template <std::int32_t step, class Word>
ZCMDS_VECTOR_CLONES void keepFirsts(Word* to, const Word* from, std::int32_t patterns) {
    constexpr std::int32_t group = 32;
    std::int32_t i = 0;
    for (; i + group <= patterns; i += group) {
        Word words[group];
        for (std::int32_t k = 0; k < group; ++k) words[k] = from[(i + k) * step];
        std::memcpy(to + i, words, sizeof words);
    }
    for (; i < patterns; ++i) to[i] = from[i * step];
}

// A walk through the blocks. The samples kept so far are at the block's start.
template <class Word>
struct BlockWalk {
    const SkipState& state;
    Word* block;
    std::int32_t in = 0;    // index of the next sample
    std::int32_t left = 0;  // samples from there on
    std::int32_t out = 0;   // samples kept and not yet sent

    void flush() {
        if (out != 0) zepl::pbuf_put_set_cnt(state.output, out);
        out = 0;
    }
    void get() {
        left = zepl::pbuf_get(state.input);
        in = 0;
    }

    // Samples at the very front are where they should be, since nothing is kept yet when a block comes.
    void keep(std::int32_t n) {
        if (in != 0) std::memmove(block + out, block + in, static_cast<std::size_t>(n) * sizeof(Word));
        out += n;
        in += n;
        left -= n;
    }

    void keepWholePatterns(std::int32_t total) {
        const std::int32_t patterns = left / total;
        Word* const to = block + out;
        const Word* const from = block + in;
        if (state.take == 1 && std::has_single_bit(static_cast<std::uint32_t>(total)))
            forChunkSize(total, [&]<std::int32_t step> { keepFirsts<step>(to, from, patterns); });
        else
            forChunkSize(state.take, [&]<std::int32_t chunk> {
                keepPatterns<chunk>(to, from, from + left, patterns, state.take, total);
            });
        out += patterns * state.take;
        in += patterns * total;
        left -= patterns * total;
    }

    void keepRun() {
        std::int32_t need = state.take;
        while (need > left) {
            need -= left;
            keep(left);
            flush();
            get();
        }
        keep(need);
    }

    // What lies beyond the block is dropped without being fetched.
    void dropRun() {
        if (left > state.skip) {
            in += state.skip;
            left -= state.skip;
            return;
        }
        flush();
        if (left < state.skip) zepl::pipe_rem(state.src, state.skip - left);
        get();
    }
};

template <class Word>
[[noreturn]] void thinBlocks(const SkipState& state) {
    const std::int64_t total = std::int64_t{state.take} + state.skip;
    BlockWalk<Word> walk{.state = state, .block = static_cast<Word*>(state.block)};
    for (;;) {
        if (total < longPattern) walk.keepWholePatterns(static_cast<std::int32_t>(total));
        walk.keepRun();
        walk.dropRun();
    }
}

void openBlocks(SkipState& state, std::int32_t capacity) {
    state.input = zepl::pbuf_open(state.src, capacity);
    state.block = zepl::pbuf_get_data_ptr(state.input);
    state.output = openPbufOn(state.dest, state.block, 1, capacity);
}

std::int32_t readCount(ParamList list, const Slot* params, std::int32_t position) {
    const std::int32_t count = integerIn(params[position], zepl::param_type(list, position));
    if (count < 0) zepl::param_error_msg(ParamError::notPositive, position);
    return count;
}

}  // namespace

std::uint32_t skip(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 5, 5, anyPipe, constantInteger, constantInteger, constantInteger, anyPipe);
    checkSameElementType(list, {.source = 1, .destination = 5});
    SkipState state{.src = handleIn<PipeHandle>(params[1]),
                    .dest = handleIn<PipeHandle>(params[5]),
                    .preskip = readCount(list, params, 2),
                    .take = readCount(list, params, 3),
                    .skip = readCount(list, params, 4)};
    const std::uint32_t blockSize = zepl::sys_get_info(SysInfo::defaultBlock);
    const bool blocks = zepl::sys_get_info(SysInfo::blockTransfer) != 0;
    zepl::pipe_open(state.src, zepl::OpenMode::read);
    zepl::pipe_open(state.dest, zepl::OpenMode::write);
    if (blocks) openBlocks(state, static_cast<std::int32_t>(blockSize * 4));
    if (state.take == 0) dropAll(state);
    if (state.preskip != 0) zepl::pipe_rem(state.src, state.preskip);
    if (state.skip == 0 && !blocks) passValues(state);
    if (state.skip == 0) passBlocks(state);
    if (!blocks) thinValues(state);
    return forElementWord(zepl::param_type(list, 1), [&]<class Word>() -> std::uint32_t { thinBlocks<Word>(state); });
}

}  // namespace zcmds
