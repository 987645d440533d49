// Statistics of a source in memory beside plain loops that do the same arithmetic on it where it stands, so without the
// transfers that take the greater part of a command's time; and the variance of int16 samples beside VOLK's, which has to
// convert them to float.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#if BENCH_VOLK
#include <volk/volk.h>
#endif

#include "bench/commands.h"
#include "bench/pairs.h"
#include "frame/vector_clones.h"

namespace {

using bench::recording, bench::samples;
using libzepl::int16Constant;

const std::string area = "Statistics of blocks or windows of 100 (ns a sample)";

constexpr std::int16_t blockSize = 100;  // also the window, the block length and the period of resets
constexpr std::int16_t blockReps = 10;   // blocks that BAVERAGE averages

template <class Element>
using Sum = std::conditional_t<std::is_integral_v<Element>, std::int64_t, double>;

// Plain reducers: what a block of blockSize elements comes to.

template <class Element>
struct AverageLoop {
    static Element of(const Element* block) {
        Sum<Element> sum = 0;
        for (int i = 0; i < blockSize; ++i) sum += block[i];
        if constexpr (std::is_integral_v<Element>) sum += sum < 0 ? -blockSize / 2 : blockSize / 2;
        return static_cast<Element>(sum / blockSize);
    }
};

template <class Element>
struct HighLoop {
    static Element of(const Element* block) {
        Element best = std::numeric_limits<Element>::lowest();
        for (int i = 0; i < blockSize; ++i) best = block[i] > best ? block[i] : best;
        return best;
    }
};

template <class Element>
struct LowLoop {
    static Element of(const Element* block) {
        Element best = std::numeric_limits<Element>::max();
        for (int i = 0; i < blockSize; ++i) best = block[i] < best ? block[i] : best;
        return best;
    }
};

template <class Element>
struct RmsLoop {
    static Element of(const Element* block) {
        Sum<Element> squares = 0;
        for (int i = 0; i < blockSize; ++i) squares += static_cast<Sum<Element>>(block[i]) * block[i];
        return static_cast<Element>(std::sqrt(static_cast<double>(squares / blockSize)));
    }
};

template <class Element>
struct VarianceLoop {
    static Element of(const Element* block) {
        Sum<Element> sum = 0, squares = 0;
        for (int i = 0; i < blockSize; ++i) {
            sum += block[i];
            squares += static_cast<Sum<Element>>(block[i]) * block[i];
        }
        return static_cast<Element>((squares - sum * sum / blockSize) / blockSize);
    }
};

template <class Element>
struct StddevLoop {
    static Element of(const Element* block) {
        return static_cast<Element>(std::sqrt(static_cast<double>(VarianceLoop<Element>::of(block))));
    }
};

template <class Element>
struct BintegrateLoop {
    static Element of(const Element* block) {
        Sum<Element> sum = 0;
        for (int i = 0; i < blockSize; ++i) sum += block[i];
        return static_cast<Element>(sum);
    }
};

template <class Reducer, class Element>
ZCMDS_VECTOR_CLONES void reducePlainly(const Element* from, Element* to) {
    for (std::size_t block = 0; block < samples / blockSize; ++block) to[block] = Reducer::of(from + block * blockSize);
}

// Plain loops over the whole stream.

template <class Element>
ZCMDS_VECTOR_CLONES void baveragePlainly(const Element* from, Element* to) {
    constexpr std::size_t group = std::size_t{blockSize} * blockReps;
    for (std::size_t at = 0; at + group <= samples; at += group) {
        Sum<Element> sums[blockSize] = {};
        for (int rep = 0; rep < blockReps; ++rep)
            for (int k = 0; k < blockSize; ++k) sums[k] += from[at + static_cast<std::size_t>(rep * blockSize + k)];
        for (int k = 0; k < blockSize; ++k) *to++ = static_cast<Element>(sums[k] / blockReps);
    }
}

template <class Element>
void integratePlainly(const Element* from, Element* to) {
    Sum<Element> sum = 0;
    for (std::size_t i = 0; i < samples; ++i) to[i] = static_cast<Element>(sum += from[i]);
}

template <class Element>
void slidePlainly(const Element* from, Element* to, Element divisor) {
    Sum<Element> sum = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        sum += from[i];
        if (i >= blockSize) sum -= from[i - blockSize];
        to[i] = static_cast<Element>(sum / divisor);
    }
}

// New memory for each iteration, as a session has it.
template <class Element, class Loop>
void runPlainly(benchmark::State& state, Loop loop) {
    const Element* from = recording<Element>().data();
    for (auto _ : state) {
        auto* to = static_cast<Element*>(std::malloc(samples * sizeof(Element)));
        loop(from, to);
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
        std::free(to);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element>
libzepl::TaskArgument one() {
    if constexpr (std::is_integral_v<Element>) return int16Constant(1);
    if constexpr (std::is_same_v<Element, float>) return libzepl::floatConstant(1);
    return libzepl::doubleConstant(1);
}

// Registers a command with its plain loop; the ratio of their times is to be at most `limit`.
void addPair(const std::string& command, const std::string& type, double limit,
             const std::function<void(benchmark::State&)>& run, const std::function<void(benchmark::State&)>& plain) {
    const std::string name = command + "_" + type, peer = "plain" + name;
    benchmark::RegisterBenchmark(name.c_str(), run);
    benchmark::RegisterBenchmark(peer.c_str(), plain);
    bench::compare({area, name, bench::plainLoop, peer, limit});
    bench::compareWithPython(area, name, bench::numpyPeer);
}

template <template <class> class Reducer, class Element>
void addReducer(const char* command, const std::string& type, double limit) {
    addPair(
        command, type, limit,
        [command](benchmark::State& state) { bench::runCommand<Element>(state, command, {int16Constant(blockSize)}); },
        [](benchmark::State& state) { runPlainly<Element>(state, reducePlainly<Reducer<Element>, Element>); });
}

template <class Element>
bool addPairs(const std::string& type) {
    addReducer<AverageLoop, Element>("AVERAGE", type, 4.5);
    addReducer<HighLoop, Element>("HIGH", type, 8);
    addReducer<LowLoop, Element>("LOW", type, 8);
    addReducer<RmsLoop, Element>("RMS", type, 4.5);
    addReducer<StddevLoop, Element>("STDDEV", type, 3.5);
    addReducer<VarianceLoop, Element>("VARIANCE", type, 3.5);
    addPair(
        "BINTEGRATE", type, 5,
        [](benchmark::State& state) {
            bench::runCommand<Element>(state, "BINTEGRATE", {}, {int16Constant(blockSize)});
        },
        [](benchmark::State& state) { runPlainly<Element>(state, reducePlainly<BintegrateLoop<Element>, Element>); });
    addPair(
        "BAVERAGE", type, 4.5,
        [](benchmark::State& state) {
            bench::runCommand<Element>(state, "BAVERAGE", {int16Constant(blockSize), int16Constant(blockReps)});
        },
        [](benchmark::State& state) { runPlainly<Element>(state, baveragePlainly<Element>); });
    addPair(
        "INTEGRATE", type, 5, [](benchmark::State& state) { bench::runCommand<Element>(state, "INTEGRATE"); },
        [](benchmark::State& state) { runPlainly<Element>(state, integratePlainly<Element>); });
    addPair(
        "RAVERAGE", type, 3,
        [](benchmark::State& state) { bench::runCommand<Element>(state, "RAVERAGE", {int16Constant(blockSize)}); },
        [](benchmark::State& state) {
            // As the user gives it, so that no loop knows it beforehand.
            volatile std::int16_t window = blockSize;
            runPlainly<Element>(
                state, [&](const Element* from, Element* to) { slidePlainly(from, to, static_cast<Element>(window)); });
        });
    addPair(
        "RSUM", type, 3,
        [](benchmark::State& state) {
            bench::runCommand<Element>(state, "RSUM", {int16Constant(1), one<Element>(), int16Constant(blockSize)});
        },
        [](benchmark::State& state) {
            volatile std::int16_t divisor = 1;
            runPlainly<Element>(state, [&](const Element* from, Element* to) {
                slidePlainly(from, to, static_cast<Element>(divisor));
            });
        });
    return true;
}

[[maybe_unused]] const bool pairsAreAdded = addPairs<std::int16_t>("int16") && addPairs<std::int32_t>("int32") &&
                                            addPairs<float>("float") && addPairs<double>("double");

#if BENCH_VOLK
void volkStddev(benchmark::State& state) {
    const std::int16_t* from = recording<std::int16_t>().data();
    static std::vector<float> deviations(samples / blockSize);
    alignas(64) static float block[blockSize];
    for (auto _ : state) {
        float mean;
        for (std::size_t i = 0; i < deviations.size(); ++i) {
            volk_16i_s32f_convert_32f(block, from + i * blockSize, 1, blockSize);
            volk_32f_stddev_and_mean_32f_x2(&deviations[i], &mean, block, blockSize);
        }
        benchmark::DoNotOptimize(deviations.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// The same of samples that are float already.
void volkStddevOfFloats(benchmark::State& state) {
    static const std::vector<float> from(recording<std::int16_t>().begin(), recording<std::int16_t>().end());
    static std::vector<float> deviations(samples / blockSize);
    for (auto _ : state) {
        float mean;
        for (std::size_t i = 0; i < deviations.size(); ++i)
            volk_32f_stddev_and_mean_32f_x2(&deviations[i], &mean, from.data() + i * blockSize, blockSize);
        benchmark::DoNotOptimize(deviations.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}
BENCHMARK(volkStddevOfFloats);
BENCHMARK(volkStddev);
#endif
[[maybe_unused]] const bool volkIsAdded = bench::compare({area, "VARIANCE_int16", bench::volkPeer, "volkStddev", 0.4});

}  // namespace
