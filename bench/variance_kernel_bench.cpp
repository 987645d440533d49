// The arithmetic of VARIANCE alone, on int16 samples where they stand, beside VOLK's in float: blocks of 100, from transfers
// of 1000 as the command gets them.

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "stats/variance.cpp"

namespace {

void varianceBlocks(benchmark::State& state) {
    constexpr std::int32_t bsize = 100, transfer = 1000;
    const std::vector<std::int16_t>& from = bench::recording<std::int16_t>();
    zcmds::BlockVariance<std::int16_t, std::int32_t> running;
    std::int32_t left = bsize, results[transfer / bsize + 1];
    for (auto _ : state)
        for (std::size_t at = 0; at + transfer <= from.size(); at += transfer) {
            zcmds::reduceTransfer<zcmds::NoPosition>(running, left, bsize, from.data() + at, transfer, results,
                                                     nullptr);
            benchmark::DoNotOptimize(results);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(from.size()));
}
BENCHMARK(varianceBlocks)->Name("blockVARIANCE_int16");

const std::string area = "Arithmetic of VARIANCE alone, int16, blocks of 100 (ns a sample)";
[[maybe_unused]] const bool added =
    bench::compare({area, "blockVARIANCE_int16", bench::volkPeer, "volkStddev", 0.25}) &&
    bench::compare({area, "blockVARIANCE_int16", bench::volkPeer + ", floats", "volkStddevOfFloats", 0.3});

}  // namespace
