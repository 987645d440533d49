// REPLICATE writes each sample `reps` times.

#include <algorithm>

#include "frame/checks.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/system_info.h"
#include "module/commands.h"
#include "routing/chunk_size.h"
#include "routing/element_word.h"

namespace zcmds {

const char* const replicateSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   const  storage  (int16|int32)  reps ,   "
    "out    typeof(src)   dest )";

namespace {

constexpr std::int32_t outputBlock = 1024;  // elements

// Up to so many copies, those of several samples go out in a block; with more, those of a sample can cover blocks.
constexpr std::int32_t fewCopies = 128;

// Writes each of the `n` words `reps` times, at most `chunk`.
template <std::int32_t chunk, class Word>
ZCMDS_VECTOR_CLONES void writeChunks(Word* __restrict to, const Word* __restrict from, std::int32_t n,
                                     std::int32_t reps) {
    if (reps == chunk) {
        for (std::int32_t i = 0; i < n; ++i)
            for (std::int32_t k = 0; k < chunk; ++k) to[i * chunk + k] = from[i];
        return;
    }
    // What is too much of a chunk is written over by the next word's; the last ones are written to the word.
    std::int32_t i = 0;
    for (; (n - i) * reps >= chunk; ++i, to += reps) std::fill_n(to, chunk, from[i]);
    for (; i < n; ++i, to += reps) std::fill_n(to, reps, from[i]);
}

template <class Word>
ZCMDS_VECTOR_CLONES void writeRuns(Word* __restrict to, const Word* __restrict from, std::int32_t n,
                                   std::int32_t reps) {
    for (std::int32_t i = 0; i < n; ++i) std::fill_n(to + i * reps, reps, from[i]);
}

template <class Word>
void writeCopies(Word* to, const Word* from, std::int32_t n, std::int32_t reps) {
    if (reps > maxChunk) return writeRuns(to, from, n, reps);
    forChunkSize(reps, [&]<std::int32_t chunk> { writeChunks<chunk>(to, from, n, reps); });
}

[[noreturn]] void passBlocks(PbufHandle input, PbufHandle output) {
    zepl::pbuf_set_data_ptr(input, zepl::pbuf_get_data_ptr(output));
    zepl::pbuf_set_max_cnt(input, outputBlock);
    for (;;) zepl::pbuf_put_set_cnt(output, zepl::pbuf_get(input));
}

template <class Word>
[[noreturn]] void replicateFew(PbufHandle input, PbufHandle output, std::int32_t reps) {
    const std::int32_t max = outputBlock / reps;
    const auto* const block = static_cast<const Word*>(zepl::pbuf_get_data_ptr(input));
    auto* const copies = static_cast<Word*>(zepl::pbuf_get_data_ptr(output));
    for (;;) {
        const std::int32_t count = zepl::pbuf_get(input);
        for (std::int32_t taken = 0; taken < count;) {
            const std::int32_t n = std::min(count - taken, max);
            zepl::pbuf_set_cnt(output, n * reps);
            writeCopies(copies, block + taken, n, reps);
            zepl::pbuf_put(output);
            taken += n;
        }
    }
}

// The output block, which copies of one sample or of many fill.
template <class Word>
struct CopyBlock {
    PbufHandle output;
    Word* copies;
    std::int32_t filled = 0;

    void send() {
        zepl::pbuf_put_set_cnt(output, filled);
        filled = 0;
    }
    void write(Word word, std::int32_t reps) {
        for (std::int32_t due = reps; due > 0;) {
            const std::int32_t n = std::min(due, outputBlock - filled);
            std::fill_n(copies + filled, n, word);
            filled += n;
            due -= n;
            if (filled == outputBlock) send();
        }
    }
};

template <class Word>
[[noreturn]] void replicateMany(PbufHandle input, PbufHandle output, std::int32_t reps) {
    const auto* const block = static_cast<const Word*>(zepl::pbuf_get_data_ptr(input));
    CopyBlock<Word> copies{.output = output, .copies = static_cast<Word*>(zepl::pbuf_get_data_ptr(output))};
    for (;;) {
        const std::int32_t count = zepl::pbuf_get(input);
        for (std::int32_t i = 0; i < count; ++i) copies.write(block[i], reps);
        if (copies.filled != 0) copies.send();
    }
}

}  // namespace

std::uint32_t replicate(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, anyPipe, constantInteger, anyPipe);
    checkSameElementType(list, {.source = 1, .destination = 3});
    const std::int32_t reps = integerIn(params[2], zepl::param_type(list, 2));
    if (reps < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    const auto src = handleIn<PipeHandle>(params[1]), dest = handleIn<PipeHandle>(params[3]);
    zepl::pipe_open(src, zepl::OpenMode::read);
    zepl::pipe_open(dest, zepl::OpenMode::write);
    const PbufHandle input = zepl::pbuf_open(src, static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    const PbufHandle output = zepl::pbuf_open(dest, outputBlock);
    if (reps == 1) passBlocks(input, output);
    return forElementWord(zepl::param_type(list, 1), [&]<class Word>() -> std::uint32_t {
        if (reps <= fewCopies) replicateFew<Word>(input, output, reps);
        replicateMany<Word>(input, output, reps);
    });
}

}  // namespace zcmds
