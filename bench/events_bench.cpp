// TOGGLE from a source in memory to a trigger that a bench of its own reads, beside a scan for the same conditions that is
// written in vector instructions by hand and takes the same blocks in the same copy. TOGGWT behind it has no peer.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "bench/commands.h"
#include "bench/ratios.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using bench::samples, bench::pieceSize;

// Samples between the assertions of the wave: one in two periods of it, or none in the whole recording.
enum class Signal { quiet, slow, fast };

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

template <Signal signal>
void toggleCommand(benchmark::State& state) {
    using namespace libzepl;
    const std::vector<std::int16_t>& from = source<signal>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in"});
        const TriggerId onOff = session.addTrigger("onoff");
        session.feedMemory(in, from.data(), from.size());
        session.collect(onOff);
        session.addTask(toggleTask(session, in, onOff));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#if defined(__x86_64__)

// The first sample outside the limits.
[[gnu::target("avx2")]] std::size_t firstOutside(const std::int16_t* from, std::size_t n, std::int16_t low,
                                                 std::int16_t high) {
    const __m256i lows = _mm256_set1_epi16(low), highs = _mm256_set1_epi16(high);
    std::size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
        const __m256i out = _mm256_or_si256(_mm256_cmpgt_epi16(x, highs), _mm256_cmpgt_epi16(lows, x));
        const auto bits = static_cast<unsigned>(_mm256_movemask_epi8(out));
        if (bits != 0) return i + static_cast<std::size_t>(__builtin_ctz(bits)) / 2;
    }
    while (i < n && from[i] >= low && from[i] <= high) ++i;
    return i;
}

template <Signal signal>
void toggleByHand(benchmark::State& state) {
    const std::vector<std::int16_t>& from = source<signal>();
    static std::int16_t block[pieceSize];
    for (auto _ : state) {
        std::vector<std::uint32_t> events;
        bool on = false;
        for (std::size_t at = 0; at < samples; at += pieceSize) {
            std::memcpy(block, from.data() + at, sizeof block);
            for (std::size_t i = 0; i < pieceSize; ++i) {
                i += firstOutside(block + i, pieceSize - i, on ? offLevel : -32768, on ? 32767 : onLevel);
                if (i == pieceSize) break;
                on = !on;
                events.push_back(static_cast<std::uint32_t>(at + i));
            }
        }
        benchmark::DoNotOptimize(events.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#define TOGGLE_PAIR(signal)                                                   \
    BENCHMARK(toggleCommand<Signal::signal>)->Name("toggleCommand_" #signal); \
    BENCHMARK(toggleByHand<Signal::signal>)->Name("toggleByHand_" #signal);   \
    const bench::Pair pairOf_##signal("toggleCommand_" #signal, "toggleByHand_" #signal, 2)

TOGGLE_PAIR(quiet);
TOGGLE_PAIR(slow);
TOGGLE_PAIR(fast);

#endif

}  // namespace
