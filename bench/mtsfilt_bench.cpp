// MTSFILT from a source in memory to a sink in memory, beside a plain loop: for each output of each channel the sum over
// its sixteen samples, straight from the recording to the result. One pair for each way in which MTSFILT moves its data,
// and the common narrow scans.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using bench::samples;
using Sample = std::int16_t;

const std::string area = "MTSFILT, int16, channels by decimation (ns a sample)";

constexpr int taps = 16;

struct Scan {
    int nchan, xdecim;
};

void mtsfilt(benchmark::State& state, Scan scan) {
    bench::runCommand<Sample>(state, "MTSFILT",
                              {libzepl::int16Constant(static_cast<Sample>(scan.nchan)),
                               libzepl::int16Constant(static_cast<Sample>(scan.xdecim))});
}

// Kernels of about the same size; the values take no time.
std::vector<Sample> kernels(int nchan) {
    std::vector<Sample> made(static_cast<std::size_t>(nchan * taps));
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<Sample>(i * 7919 % 4096);
    return made;
}

void plainLoop(benchmark::State& state, Scan scan) {
    const std::vector<Sample>& source = bench::recording<Sample>();
    const std::vector<Sample> table = kernels(scan.nchan);
    const int frames = static_cast<int>(samples) / scan.nchan, nchan = scan.nchan;
    for (auto _ : state) {
        // New memory each time, as a session has it.
        auto* result = static_cast<Sample*>(std::malloc(samples * sizeof(Sample)));
        Sample* output = result;
        for (int first = 0; first + taps <= frames; first += scan.xdecim) {
            const Sample* in = source.data() + first * nchan;
            for (int c = 0; c < nchan; ++c) {
                int sum = 0;
                for (int k = 0; k < taps; ++k) sum += table[static_cast<std::size_t>(c * taps + k)] * in[k * nchan + c];
                *output++ = static_cast<Sample>(std::clamp(sum >> 15, -32768, 32767));
            }
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

struct Case {
    const char* name;
    Scan scan;
    double limit;
};

// Eight channels by 16 are mostly the turn that every output of a batch yields and its put, 16 bytes each.
const Case cases[] = {
    {"2by1", {2, 1}, 0.6},     {"8by1", {8, 1}, 0.6},     {"64by1", {64, 1}, 0.6},     {"200by1", {200, 1}, 0.6},
    {"500by2", {500, 2}, 0.6}, {"8by4", {8, 4}, 0.8},     {"64by4", {64, 4}, 0.6},     {"512by4", {512, 4}, 0.6},
    {"8by16", {8, 16}, 2},     {"64by16", {64, 16}, 0.8}, {"128by16", {128, 16}, 0.8},
};

const bool registered = [] {
    for (const Case& each : cases) {
        const std::string command = std::string("MTSFILT_") + each.name,
                          peer = std::string("mtsfiltPlain_") + each.name;
        benchmark::RegisterBenchmark(command.c_str(), mtsfilt, each.scan);
        benchmark::RegisterBenchmark(peer.c_str(), plainLoop, each.scan);
        bench::compare({area, command, bench::plainLoop, peer, each.limit});
    }
    return true;
}();

}  // namespace
