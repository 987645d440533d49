// Element-wise commands from a source in memory to a sink in memory, beside what they cannot do without: two passes of
// memcpy and the arithmetic, over the same blocks of the same memory.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/commands.h"
#include "bench/ratios.h"

namespace {

using bench::samples, bench::pieceSize, bench::recording;

constexpr std::size_t blockSize = 1000;  // what the command takes of a piece: it makes blocks of 1000 and 24

template <class Element>
void absCommand(benchmark::State& state) {
    bench::runCommand<Element>(state, "ABS");
}

template <class Element>
[[gnu::target_clones("default", "avx2", "arch=x86-64-v4")]] void absoluteBlock(Element* elements, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        if constexpr (std::is_integral_v<Element>)
            elements[i] = static_cast<Element>(elements[i] == std::numeric_limits<Element>::min()
                                                   ? std::numeric_limits<Element>::max()
                                                   : std::abs(elements[i]));
        else
            elements[i] = std::abs(elements[i]);
    }
}

template <class Element>
void absPlain(benchmark::State& state) {
    const std::vector<Element>& source = recording<Element>();
    static Element block[blockSize];
    for (auto _ : state) {
        // New memory each time, as a session has it.
        auto* result = static_cast<Element*>(std::malloc(samples * sizeof(Element)));
        for (std::size_t at = 0; at < samples;) {
            const std::size_t n = std::min(blockSize, pieceSize - at % pieceSize);
            std::memcpy(block, source.data() + at, n * sizeof(Element));
            absoluteBlock(block, n);
            std::memcpy(result + at, block, n * sizeof(Element));
            at += n;
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#define ELEMENT_PAIR(type)                                  \
    BENCHMARK(absCommand<type>)->Name("absCommand_" #type); \
    BENCHMARK(absPlain<type>)->Name("absPlain_" #type);     \
    const bench::Pair pairOf_##type("absCommand_" #type, "absPlain_" #type, 2)

using std::int16_t, std::int32_t;
ELEMENT_PAIR(int16_t);
ELEMENT_PAIR(int32_t);
ELEMENT_PAIR(float);
ELEMENT_PAIR(double);

}  // namespace
