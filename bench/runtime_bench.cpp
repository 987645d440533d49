// What the runtime costs: a task switch, a value, a block. The commands measured here exist only in this program.

#include <benchmark/benchmark.h>

#include <boost/context/fiber.hpp>
#include <cstring>

#include "bench/pairs.h"
#include "host/host.h"
#include "runtime/session.h"

namespace {

using namespace libzepl;

const std::string area = "Runtime (ns a switch, a value put and got, an element of a block put and got)";

constexpr std::int32_t switches = 1 << 16;
constexpr std::int32_t values = 1 << 18;
constexpr std::int32_t blocks = 1 << 12;
constexpr std::int32_t blockSize = 1000;

// Yields over and over.
std::uint32_t spin(zepl::ParamList) {
    for (std::int32_t i = 0; i < switches; ++i) zepl::task_switch();
    return 0;
}

// The same, with a value now and then that shows the session that it is not idle.
std::uint32_t spinAndBeat(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params = zepl::param_process(list, &count, 1, 1, zepl::anyPipe);
    const auto out = zepl::handleIn<zepl::PipeHandle>(params[1]);
    zepl::pipe_open(out, zepl::OpenMode::write);
    const std::int16_t beat = 0;
    for (std::int32_t i = 0; i < switches; ++i) {
        if (i % 6 == 0) zepl::pipe_value_put(out, &beat);
        zepl::task_switch();
    }
    return 0;
}

// Puts a value on a pipe and takes it off again, so that no switch is needed.
std::uint32_t passValues(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params = zepl::param_process(list, &count, 2, 2, zepl::anyPipe, zepl::anyPipe);
    const auto in = zepl::handleIn<zepl::PipeHandle>(params[1]), out = zepl::handleIn<zepl::PipeHandle>(params[2]);
    zepl::pipe_open(in, zepl::OpenMode::read);
    zepl::pipe_open(out, zepl::OpenMode::write);
    double value = 1;
    for (std::int32_t i = 0; i < values; ++i) {
        zepl::pipe_value_put(out, &value);
        zepl::pipe_value_get(in, &value);
    }
    return 0;
}

// The same with blocks.
std::uint32_t passBlocks(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params = zepl::param_process(list, &count, 2, 2, zepl::anyPipe, zepl::anyPipe);
    const auto in = zepl::handleIn<zepl::PipeHandle>(params[1]), out = zepl::handleIn<zepl::PipeHandle>(params[2]);
    zepl::pipe_open(in, zepl::OpenMode::read);
    zepl::pipe_open(out, zepl::OpenMode::write);
    const auto inBlock = zepl::pbuf_open(in, blockSize), outBlock = zepl::pbuf_open(out, blockSize);
    for (std::int32_t i = 0; i < blocks; ++i) {
        zepl::pbuf_put_set_cnt(outBlock, blockSize);
        zepl::pbuf_get(inBlock);
    }
    return 0;
}

void install(CommandLibrary& library, const char* name, zepl::CommandRoutine routine) {
    library.install(name, routine, {.recordSize = 16, .taskSpace = 0, .attributes = 0, .signature = nullptr});
}

// Tasks that yield to each other.
void taskSwitch(benchmark::State& state) {
    CommandLibrary library;
    install(library, "SPIN", spin);
    install(library, "BEAT", spinAndBeat);
    constexpr int tasks = 32;
    for (auto _ : state) {
        Session session(library);
        const PipeId beats = session.addPipe({.name = "beats", .type = ElementType::int16});
        session.collect(beats, switches / 6 + 1);
        session.addTask({.command = "BEAT", .arguments = {session.use(beats)}});
        for (int i = 1; i < tasks; ++i) session.addTask({.command = "SPIN"});
        benchmark::DoNotOptimize(session.run().status);
    }
    state.SetItemsProcessed(state.iterations() * tasks * switches);
}

void bareSwitch(benchmark::State& state) {
    namespace context = boost::context;
    for (auto _ : state) {
        context::fiber other([](context::fiber&& back) {
            for (;;) back = std::move(back).resume();
            return std::move(back);
        });
        for (std::int32_t i = 0; i < switches; i += 2) other = std::move(other).resume();
    }
    state.SetItemsProcessed(state.iterations() * switches);
}

void loopThroughPipe(benchmark::State& state, zepl::CommandRoutine routine, ElementType type, std::int64_t items) {
    CommandLibrary library;
    install(library, "PASS", routine);
    for (auto _ : state) {
        Session session(library);
        const PipeId pipe = session.addPipe({.name = "loop", .type = type});
        session.addTask({.command = "PASS", .arguments = {session.use(pipe), session.use(pipe)}});
        benchmark::DoNotOptimize(session.run().status);
    }
    state.SetItemsProcessed(state.iterations() * items);
}

void valuePair(benchmark::State& state) { loopThroughPipe(state, passValues, ElementType::float64, values); }
void blockPair(benchmark::State& state) {
    loopThroughPipe(state, passBlocks, ElementType::int16, std::int64_t{blocks} * blockSize);
}

void twoCopies(benchmark::State& state) {
    static std::int16_t a[blockSize], b[blockSize];
    for (auto _ : state) {
        for (std::int32_t i = 0; i < blocks; ++i) {
            std::memcpy(b, a, sizeof a);
            benchmark::ClobberMemory();
            std::memcpy(a, b, sizeof a);
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * blocks * blockSize);
}

BENCHMARK(taskSwitch);
BENCHMARK(bareSwitch);
BENCHMARK(valuePair);
BENCHMARK(blockPair);
BENCHMARK(twoCopies);

const bool added = bench::compare({area, "taskSwitch", "Boost.Context", "bareSwitch", 1.3}) &&
                   bench::compare({area, "valuePair", "", "", 5}) &&
                   bench::compare({area, "blockPair", bench::copying, "twoCopies", 2});

}  // namespace
