// Commands of routing from memory to memory. SKIP and REPLICATE stand beside a memcpy of what they write, by blocks to new
// memory as a session has it; recordings are so long that all memory is really new. MERGEF and SEPARATEF have to reach a
// rate.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using namespace libzepl;
using bench::pieceSize;

const std::string area = "Routing (ns a sample that is written)";

template <class Element>
constexpr std::size_t samplesOf = (std::size_t{80} << 20) / sizeof(Element);

template <class Element>
const std::vector<Element>& recording() {
    static const std::vector<Element> elements = [] {
        std::vector<Element> made(samplesOf<Element>);
        for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<Element>(i % 30011);
        return made;
    }();
    return elements;
}

constexpr std::size_t merged = samplesOf<std::int16_t> / 2;  // samples that have room with their tags

// Runs `command (source, counts..., result)` on the first `read` samples of the recording. An item is a sample written.
template <class Element>
void routeCommand(benchmark::State& state, const char* command, const std::vector<std::int16_t>& counts,
                  std::size_t read, std::size_t written) {
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in", .type = bench::typeOf<Element>});
        const PipeId out = session.addPipe({.name = "out", .type = bench::typeOf<Element>});
        session.feedMemory(in, recording<Element>().data(), read);
        session.collect(out, {}, written);
        TaskSettings task{.command = command, .arguments = {session.use(in)}};
        for (const std::int16_t count : counts) task.arguments.push_back(int16Constant(count));
        task.arguments.push_back(session.use(out));
        session.addTask(std::move(task));
        const Report report = session.run();
        if (report.pipes[1].written != written) state.SkipWithError("another number of samples was written");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(written));
}

template <class Element>
void skipCommand(benchmark::State& state) {
    const auto take = static_cast<std::size_t>(state.range(0)), skip = static_cast<std::size_t>(state.range(1));
    const std::size_t read = samplesOf<Element> / (take + skip) * (take + skip);
    routeCommand<Element>(state, "SKIP", {0, static_cast<std::int16_t>(take), static_cast<std::int16_t>(skip)}, read,
                          read / (take + skip) * take);
}

template <class Element>
void replicateCommand(benchmark::State& state) {
    const auto reps = static_cast<std::size_t>(state.range(0));
    const std::size_t read = samplesOf<Element> / reps;
    routeCommand<Element>(state, "REPLICATE", {static_cast<std::int16_t>(reps)}, read, read * reps);
}

template <class Element>
void copyPlain(benchmark::State& state) {
    const std::vector<Element>& source = recording<Element>();
    for (auto _ : state) {
        auto* const result = static_cast<Element*>(std::calloc(source.size(), sizeof(Element)));
        for (std::size_t at = 0; at < source.size(); at += pieceSize) {
            std::memcpy(result + at, source.data() + at, pieceSize * sizeof(Element));
            benchmark::ClobberMemory();
        }
        benchmark::DoNotOptimize(result);
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(source.size()));
}

// Two halves of the recording onto one pipe; an item is a sample.
void mergeCommand(benchmark::State& state) {
    const std::vector<std::int16_t>& source = recording<std::int16_t>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId first = session.addPipe({.name = "first"}), second = session.addPipe({.name = "second"}),
                     out = session.addPipe({.name = "out"});
        session.feedMemory(first, source.data(), merged / 2);
        session.feedMemory(second, source.data() + merged / 2, merged / 2);
        session.collect(out, {}, 2 * merged);
        session.addTask(
            {.command = "MERGEF", .arguments = {session.use(first), session.use(second), session.use(out)}});
        if (session.run().pipes[2].written != 2 * merged) state.SkipWithError("samples are missing");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(merged));
}

// What MERGEF makes of two sources, by turns of 128 samples; an item is a sample.
void separateCommand(benchmark::State& state) {
    std::vector<std::int16_t> tagged(2 * merged);
    for (std::size_t i = 0; i < merged; ++i) {
        tagged[2 * i] = i / 128 % 2;
        tagged[2 * i + 1] = recording<std::int16_t>()[i];
    }
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in"}), first = session.addPipe({.name = "first"}),
                     second = session.addPipe({.name = "second"});
        session.feedMemory(in, tagged.data(), tagged.size());
        session.collect(first, {}, merged / 2);
        session.collect(second, {}, merged / 2);
        session.addTask(
            {.command = "SEPARATEF", .arguments = {session.use(in), session.use(first), session.use(second)}});
        if (session.run().pipes[2].written != merged / 2) state.SkipWithError("samples are missing");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(merged));
}

using std::int16_t;
BENCHMARK(copyPlain<int16_t>)->Name("copyPlain_int16");
BENCHMARK(copyPlain<double>)->Name("copyPlain_double");
BENCHMARK(skipCommand<int16_t>)->Name("SKIP_1_of_2_int16")->Args({1, 1});
BENCHMARK(skipCommand<int16_t>)->Name("SKIP_3_of_4_int16")->Args({3, 1});
BENCHMARK(skipCommand<int16_t>)->Name("SKIP_20_of_30_int16")->Args({20, 10});
BENCHMARK(skipCommand<int16_t>)->Name("SKIP_100_of_200_int16")->Args({100, 100});
BENCHMARK(skipCommand<int16_t>)->Name("SKIP_0_int16")->Args({1, 0});
BENCHMARK(skipCommand<double>)->Name("SKIP_1_of_2_double")->Args({1, 1});
BENCHMARK(skipCommand<double>)->Name("SKIP_3_of_4_double")->Args({3, 1});
BENCHMARK(replicateCommand<int16_t>)->Name("REPLICATE_1_int16")->Arg(1);
BENCHMARK(replicateCommand<int16_t>)->Name("REPLICATE_2_int16")->Arg(2);
BENCHMARK(replicateCommand<int16_t>)->Name("REPLICATE_10_int16")->Arg(10);
BENCHMARK(replicateCommand<int16_t>)->Name("REPLICATE_100_int16")->Arg(100);
BENCHMARK(replicateCommand<int16_t>)->Name("REPLICATE_1000_int16")->Arg(1000);
BENCHMARK(replicateCommand<double>)->Name("REPLICATE_2_double")->Arg(2);
BENCHMARK(replicateCommand<double>)->Name("REPLICATE_1000_double")->Arg(1000);
BENCHMARK(mergeCommand)->Name("MERGEF_int16");
BENCHMARK(separateCommand)->Name("SEPARATEF_int16");

struct Case {
    const char* name;
    const char* peerBenchmark;
    double limit;
};

// Samples that are dropped have to be brought in too, which shows where they are as many as those that are kept.
const Case cases[] = {
    {"SKIP_1_of_2_int16", "copyPlain_int16", 2},
    {"SKIP_3_of_4_int16", "copyPlain_int16", 1.5},
    {"SKIP_20_of_30_int16", "copyPlain_int16", 1.5},
    {"SKIP_100_of_200_int16", "copyPlain_int16", 2},
    {"SKIP_0_int16", "copyPlain_int16", 1.5},
    {"SKIP_1_of_2_double", "copyPlain_double", 1.5},
    {"SKIP_3_of_4_double", "copyPlain_double", 1.5},
    {"REPLICATE_1_int16", "copyPlain_int16", 1.5},
    {"REPLICATE_2_int16", "copyPlain_int16", 1.5},
    {"REPLICATE_10_int16", "copyPlain_int16", 1.5},
    {"REPLICATE_100_int16", "copyPlain_int16", 1.5},
    {"REPLICATE_1000_int16", "copyPlain_int16", 1.5},
    {"REPLICATE_2_double", "copyPlain_double", 1.5},
    {"REPLICATE_1000_double", "copyPlain_double", 1.5},
    {"MERGEF_int16", "", 5},
    {"SEPARATEF_int16", "", 5},
};

const bool added = [] {
    for (const auto& [name, peerBenchmark, limit] : cases)
        bench::compare({area, name, *peerBenchmark == 0 ? "" : bench::copying, peerBenchmark, limit});
    return true;
}();

}  // namespace
