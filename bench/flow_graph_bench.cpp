// A whole flow graph: int16 samples in memory, SCALE, FIRFILTER with 129 taps by 5, FFT of 1024 points to amplitudes with von
// Hann's window, amplitudes in memory; beside GNU Radio's blocks and SciPy (bench/flow_graph_peers.py), all on one core.
//
// And beside one loop over the blocks, as one would write it for this graph alone, with FFTW.
//
// What differs: SCALE gives int16 here, truncated toward zero, and the peers go on in single precision. Filters are in single
// precision on all sides; our transform is in double and gives 512 amplitudes of a block, GNU Radio's in single precision and
// gives 1024, SciPy's and FFTW's are real ones in double. FIRFILTER mixes stale samples into a stream of one channel, so the graph stands
// here twice: with one channel, as the same number of operations, and with the stream doubled, as the same result.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "bench/python_peers.h"
#include "frame/vector_clones.h"

#if BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

using namespace libzepl;

const std::string area = "A whole flow graph (ns a sample)";

constexpr std::size_t samples = 50'000'000, tapCount = 129, decimation = 5, length = 1024;
constexpr std::size_t spectra = samples / decimation / length, amplitudes = length / 2;

const std::vector<std::int16_t>& source() {
    static const std::vector<std::int16_t> made = [] {
        std::vector<std::int16_t> elements(samples);
        for (std::size_t i = 0; i < samples; ++i)
            elements[i] = static_cast<std::int16_t>(static_cast<int>(i * 83 % 8192) - 4096);
        return elements;
    }();
    return made;
}

// A raised cosine as the filter.
std::vector<float> coefficients() {
    std::vector<float> taps(tapCount);
    const double count = static_cast<double>(taps.size());
    for (std::size_t k = 0; k < taps.size(); ++k)
        taps[k] = static_cast<float>(
            (0.5 - 0.5 * std::cos(2 * std::numbers::pi * (static_cast<double>(k) + 0.5) / count)) / (count / 2));
    return taps;
}

std::vector<std::byte> bytes(const std::vector<float>& elements) {
    const auto* first = reinterpret_cast<const std::byte*>(elements.data());
    return {first, first + elements.size() * sizeof(float)};
}

struct FlowGraph {
    Session session{bench::library()};
    PipeId in = pipe("in", ElementType::int16), result = pipe("result", ElementType::float32);

    // With `doubled`, each sample stands twice from FIRFILTER on, and one of them is dropped behind it.
    FlowGraph(bool doubled, std::size_t count) {
        session.feedMemory(in, source().data(), count);
        session.collect(result, {}, count / decimation / length * amplitudes);
        PipeId scaled = pipe("scaled", ElementType::int16), filtered = pipe("filtered", ElementType::float32);
        add("SCALE", {session.use(in), int16Constant(3), int16Constant(30), int16Constant(7), session.use(scaled)});
        if (doubled) {
            const PipeId pairs = pipe("pairs", ElementType::int16);
            add("REPLICATE", {session.use(scaled), int16Constant(2), session.use(pairs)});
            scaled = pairs;
        }
        const TaskArgument taps = session.use(session.addVector("taps", ElementType::float32, bytes(coefficients())));
        add("FIRFILTER", {session.use(scaled), int16Constant(doubled ? 2 : 1), taps, int16Constant(0), floatConstant(1),
                          int16Constant(decimation), int16Constant(128), session.use(filtered)});
        if (doubled) {
            const PipeId single = pipe("single", ElementType::float32);
            add("SKIP",
                {session.use(filtered), int16Constant(0), int16Constant(1), int16Constant(1), session.use(single)});
            filtered = single;
        }
        add("FFT", {int16Constant(5), int16Constant(10), int16Constant(1), session.use(filtered), session.use(result)});
    }

    PipeId pipe(const char* name, ElementType type) { return session.addPipe({.name = name, .type = type}); }
    void add(const char* command, std::vector<TaskArgument> arguments) {
        session.addTask({.command = command, .arguments = std::move(arguments)});
    }
};

void flowGraph(benchmark::State& state, bool doubled) {
    for (auto _ : state) {
        FlowGraph graph(doubled, samples);
        const Report report = graph.session.run();
        if (report.status != Report::Status::ok || report.pipes[1].written != spectra * amplitudes)
            state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// That GNU Radio's amplitudes are those of the doubled stream, but for SCALE's truncation, which moves a sample by less than one
// and leaves about 0.05 here. FFT does not multiply bin 0 by sqrt(2).
bool sameAmplitudes() {
    const std::string answer = bench::askPython("magnitudes");
    FlowGraph graph(true, 9 * decimation * length);
    graph.session.run();
    const std::vector<float> ours = graph.session.collected<float>(graph.result);
    const char* next = answer.c_str();
    float highest = 0;
    for (std::size_t i = 0; i < 8 * amplitudes; ++i) {
        char* end = nullptr;
        const float theirs = std::strtof(next, &end) / (i % amplitudes == 0 ? std::numbers::sqrt2_v<float> : 1);
        if (end == next || i >= ours.size() || !(std::abs(theirs - ours[i]) <= 0.2F)) return false;
        highest = std::max(highest, ours[i]);
        next = end;
    }
    return highest > 1000;
}

void doubledFlowGraph(benchmark::State& state) {
    static const bool same = !bench::pythonHas(bench::gnuRadioPeer) || sameAmplitudes();
    if (!same) return state.SkipWithError("the amplitudes are not GNU Radio's");
    flowGraph(state, true);
}

#if BENCH_FFTW

// Sums lane by lane, so that they vectorise: not in the order of the taps. `taps` is filled up with zeros to whole lanes.
constexpr std::size_t lanes = 16, paddedTaps = (tapCount + lanes - 1) / lanes * lanes;

ZCMDS_VECTOR_CLONES void filterBlock(const float* from, const float* taps, const double* window, double* to) {
    for (std::size_t i = 0; i < length; ++i) {
        float sums[lanes] = {};
        for (std::size_t k = 0; k < paddedTaps; k += lanes)
            for (std::size_t lane = 0; lane < lanes; ++lane)
                sums[lane] += taps[k + lane] * from[i * decimation + k + lane];
        float sum = 0;
        for (const float part : sums) sum += part;
        to[i] = static_cast<double>(sum) * window[i];
    }
}

ZCMDS_VECTOR_CLONES void amplitudesOf(const fftw_complex* spectrum, float* to) {
    for (std::size_t i = 0; i < amplitudes; ++i) {
        const double re = spectrum[i][0], im = spectrum[i][1];
        to[i] = static_cast<float>(std::sqrt(re * re + im * im));
    }
}

void oneLoop(benchmark::State& state) {
    constexpr std::size_t block = decimation * length, before = tapCount - 1;
    std::vector<float> taps = coefficients(), scaled(before + block + lanes);
    taps.resize(paddedTaps);
    std::vector<double> window(length);
    for (std::size_t i = 0; i < length; ++i)
        window[i] = (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / length)) *
                    std::numbers::sqrt2 / length;
    double* const filtered = fftw_alloc_real(length);
    fftw_complex* const spectrum = fftw_alloc_complex(length);
    const fftw_plan plan = fftw_plan_dft_r2c_1d(length, filtered, spectrum, FFTW_MEASURE);
    for (auto _ : state) {
        auto* result = static_cast<float*>(std::malloc(spectra * amplitudes * sizeof(float)));
        for (std::size_t at = 0; at < spectra; ++at) {
            const std::int16_t* from = source().data() + at * block;
            for (std::size_t i = 0; i < block; ++i)
                scaled[before + i] = static_cast<float>(from[i] + 3) * (30.0F / 7.0F);
            filterBlock(scaled.data(), taps.data(), window.data(), filtered);
            fftw_execute(plan);
            amplitudesOf(spectrum, result + at * amplitudes);
            std::copy_n(scaled.begin() + block, before, scaled.begin());
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
    fftw_destroy_plan(plan);
    fftw_free(spectrum);
    fftw_free(filtered);
}
BENCHMARK(oneLoop);

#endif

BENCHMARK_CAPTURE(flowGraph, single, false)->Name("flow_graph");
BENCHMARK(doubledFlowGraph)->Name("flow_graph_doubled");

[[maybe_unused]] const bool added =
    bench::compareWithPython(area, "flow_graph", bench::gnuRadioPeer, 0.25) &&
    bench::compare({area, "flow_graph_doubled", bench::gnuRadioPeer, bench::gnuRadioPeer + "_flow_graph", 0.5}) &&
    bench::compareWithPython(area, "flow_graph", bench::scipyPeer) &&
    bench::compare({area, "flow_graph", bench::fftwPeer + ", one loop", "oneLoop", 1.1});

}  // namespace
