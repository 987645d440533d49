// TOGGLE's search for the next match beside one that is written in vector instructions by hand, over the same blocks; and
// TOGGLE and TOGGWT in a session, from a recording in memory.

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "events/toggle_scan.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using bench::samples, bench::pieceSize;

// A wave that changes the state never, or twice in a period of 2000 or 50 samples.
enum class Signal { quiet, slow, fast };

const std::string area = "Level events, int16 (ns a sample)";

constexpr std::int32_t blockLength = pieceSize;
constexpr std::int16_t onLevel = 20000, offLevel = -20000;

template <Signal signal>
const std::vector<std::int16_t>& source() {
    static const std::vector<std::int16_t> elements = [] {
        constexpr double period = signal == Signal::slow ? 2000 : 50, height = signal == Signal::quiet ? 19000 : 30000;
        std::vector<std::int16_t> made(samples);
        for (std::size_t i = 0; i < samples; ++i)
            made[i] = static_cast<std::int16_t>(height * std::sin(static_cast<double>(i) * 6.2831853 / period));
        return made;
    }();
    return elements;
}

// On above the one level, off below the other.
libzepl::TaskSettings toggleTask(libzepl::Session& session, libzepl::PipeId in, libzepl::TriggerId onOff) {
    using namespace libzepl;
    return {.command = "TOGGLE",
            .arguments = {session.use(in), hostWord(1), int16Constant(-32768), int16Constant(onLevel), hostWord(1),
                          int16Constant(offLevel), int16Constant(32767), session.use(onOff)}};
}

// With `gated`, TOGGWT passes what lies between an on and an off.
template <Signal signal, bool gated>
void toggleCommand(benchmark::State& state) {
    using namespace libzepl;
    const std::vector<std::int16_t>& from = source<signal>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in"}), out = session.addPipe({.name = "out"});
        const TriggerId onOff = session.addTrigger("onoff");
        session.feedMemory(in, from.data(), from.size());
        session.addTask(toggleTask(session, in, onOff));
        if (gated) {
            session.collect(out, {}, samples);
            session.addTask(
                {.command = "TOGGWT", .arguments = {session.use(in), session.use(onOff), session.use(out)}});
        } else {
            session.collect(onOff);
        }
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#define COMMAND_LIMIT(name, limit, ...)                 \
    BENCHMARK(toggleCommand<__VA_ARGS__>)->Name(#name); \
    const bool added_##name = bench::compare({area, #name, "", "", limit})

COMMAND_LIMIT(TOGGLE_quiet, 0.5, Signal::quiet, false);
COMMAND_LIMIT(TOGGLE_slow, 0.5, Signal::slow, false);
COMMAND_LIMIT(TOGGLE_fast, 2, Signal::fast, false);
COMMAND_LIMIT(TOGGWT_slow, 1, Signal::slow, true);
COMMAND_LIMIT(TOGGWT_fast, 3, Signal::fast, true);

#if defined(__x86_64__)

// The first sample outside the limits.
[[gnu::target("avx2")]] std::int32_t firstOutside(const std::int16_t* from, std::int32_t n, std::int16_t low,
                                                  std::int16_t high) {
    const __m256i lows = _mm256_set1_epi16(low), highs = _mm256_set1_epi16(high);
    std::int32_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
        const __m256i out = _mm256_or_si256(_mm256_cmpgt_epi16(x, highs), _mm256_cmpgt_epi16(lows, x));
        const auto bits = static_cast<unsigned>(_mm256_movemask_epi8(out));
        if (bits != 0) return i + __builtin_ctz(bits) / 2;
    }
    while (i < n && from[i] >= low && from[i] <= high) ++i;
    return i;
}

// Searches each block for one condition and the other in turn.
template <Signal signal, class First>
void scan(benchmark::State& state, First first) {
    const std::vector<std::int16_t>& from = source<signal>();
    for (auto _ : state) {
        std::int64_t matches = 0;
        bool on = false;
        for (std::size_t at = 0; at < samples; at += pieceSize) {
            for (std::int32_t i = 0; i < blockLength; ++i) {
                i += first(from.data() + at + i, blockLength - i, on ? offLevel : std::int16_t{-32768},
                           on ? std::int16_t{32767} : onLevel);
                if (i == blockLength) break;
                on = !on;
                ++matches;
            }
        }
        benchmark::DoNotOptimize(matches);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <Signal signal>
void scanOfToggle(benchmark::State& state) {
    scan<signal>(state, [](const std::int16_t* block, std::int32_t n, std::int16_t low, std::int16_t high) {
        return zcmds::firstInRegion(block, n, 1, low, high);
    });
}

template <Signal signal>
void scanByHand(benchmark::State& state) {
    scan<signal>(state, firstOutside);
}

#define SCAN_PAIR(signal)                                                 \
    BENCHMARK(scanOfToggle<Signal::signal>)->Name("toggleScan_" #signal); \
    BENCHMARK(scanByHand<Signal::signal>)->Name("scanByHand_" #signal);   \
    const bool added_##signal = bench::compare({area, "toggleScan_" #signal, "AVX2 by hand", "scanByHand_" #signal, 2})

SCAN_PAIR(quiet);
SCAN_PAIR(slow);
SCAN_PAIR(fast);

#endif

}  // namespace
