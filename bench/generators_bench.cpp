// Generators into an output that drops what it gets, so that no fresh memory is counted, beside what they cannot do without:
// the copies of their blocks, or the arithmetic.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using namespace libzepl;

const std::string area = "Generators (ns a sample)";

constexpr std::size_t samples = 1 << 24;

class NullSink : public Sink {
 public:
    void write(const void* elements, std::size_t) override { benchmark::DoNotOptimize(elements); }
    void finish() override {}
};

// Runs `command (given..., dest)` for `samples` elements, once an iteration.
template <class Element>
void generate(benchmark::State& state, const char* command, const std::vector<TaskArgument>& given) {
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId dest = session.addPipe({.name = "dest", .type = bench::typeOf<Element>});
        session.setOutput(dest, std::make_unique<NullSink>(), samples);
        TaskSettings task{.command = command, .arguments = given};
        task.arguments.push_back(session.use(dest));
        session.addTask(std::move(task));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// Copies what `block(n)` gives, `size` elements at a time, to memory of the size of a pipe.
template <class Element, class Block>
void sendBlocks(benchmark::State& state, std::size_t size, Block block) {
    std::vector<Element> pipe(size);
    for (auto _ : state) {
        for (std::size_t at = 0; at < samples; at += size) {
            const std::size_t n = std::min(size, samples - at);
            std::memcpy(pipe.data(), block(n), n * sizeof(Element));
            benchmark::DoNotOptimize(pipe.data());
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// A table that is replayed: 41 cycles of 100 samples are its blocks, and each is copied to the writer's buffer first.
template <class Element>
void replayCommand(benchmark::State& state) {
    generate<Element>(state, "SINEWAVE", {int16Constant(1000), int16Constant(100)});
}
template <class Element>
void replayCopies(benchmark::State& state) {
    const std::vector<Element> table(4000, 1);
    std::vector<Element> buffer(4096);
    sendBlocks<Element>(state, table.size(), [&](std::size_t) {
        std::memcpy(buffer.data(), table.data(), table.size() * sizeof(Element));
        benchmark::DoNotOptimize(buffer.data());
        return buffer.data();
    });
}

void chirpCommand(benchmark::State& state) {
    generate<float>(state, "CHIRP",
                    {textConstant("LINEAR"), textConstant("BIDIR"), floatConstant(1), int16Constant(8192),
                     int16Constant(100), int16Constant(10), floatConstant(0)});
}
void chirpCopies(benchmark::State& state) {
    const std::vector<float> sweep(8192, 1);
    sendBlocks<float>(state, 2048, [&](std::size_t) { return sweep.data(); });
}

template <class Element>
void randomCommand(benchmark::State& state) {
    generate<Element>(state, "RANDOM", {int16Constant(0), int16Constant(1)});
}
// The nearest of the standard library's, of which it takes two to make one of these.
void randomTwoMinstd(benchmark::State& state) {
    std::minstd_rand first(1), second(2);
    std::vector<std::int32_t> buffer(bench::pieceSize);
    sendBlocks<std::int32_t>(state, buffer.size(), [&](std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) buffer[i] = static_cast<std::int32_t>(first() - second());
        return buffer.data();
    });
}

// Waves of an irrational period, which are computed sample by sample.
void directTriangle(benchmark::State& state) {
    generate<float>(state, "TRIANGLE", {int16Constant(1000), doubleConstant(314.159)});
}
void directPhases(benchmark::State& state) {
    double phase = 0;
    std::vector<float> buffer(4096);
    sendBlocks<float>(state, buffer.size(), [&](std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            buffer[i] = static_cast<float>(phase);
            phase += 2 / 314.159;
            if (phase >= 1) phase -= 2;
        }
        return buffer.data();
    });
}

using std::int16_t, std::int32_t;
BENCHMARK(replayCommand<int16_t>)->Name("SINEWAVE_int16");
BENCHMARK(replayCopies<int16_t>)->Name("replayCopies_int16");
BENCHMARK(replayCommand<float>)->Name("SINEWAVE_float");
BENCHMARK(replayCopies<float>)->Name("replayCopies_float");
BENCHMARK(replayCommand<double>)->Name("SINEWAVE_double");
BENCHMARK(replayCopies<double>)->Name("replayCopies_double");
BENCHMARK(chirpCommand)->Name("CHIRP_float");
BENCHMARK(chirpCopies);
BENCHMARK(randomCommand<int32_t>)->Name("RANDOM_int32");
BENCHMARK(randomTwoMinstd);
BENCHMARK(directTriangle)->Name("TRIANGLE_float");
BENCHMARK(directPhases);
// What a block costs beyond its copies are the task's turns, so the smallest elements show the most of it.
const bool added = bench::compare({area, "SINEWAVE_int16", bench::copying, "replayCopies_int16", 2}) &&
                   bench::compare({area, "SINEWAVE_float", bench::copying, "replayCopies_float", 1.5}) &&
                   bench::compare({area, "SINEWAVE_double", bench::copying, "replayCopies_double", 1.5}) &&
                   bench::compare({area, "CHIRP_float", bench::copying, "chirpCopies", 2}) &&
                   bench::compare({area, "RANDOM_int32", "minstd_rand", "randomTwoMinstd", 1}) &&
                   bench::compare({area, "TRIANGLE_float", bench::plainLoop, "directPhases", 1.5});

}  // namespace
