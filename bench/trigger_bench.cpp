// Trigger logic from generated events to a trigger or a pipe in memory: at least 5 million events a second.

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using namespace libzepl;

constexpr std::uint64_t events = 1 << 20;
constexpr double longest = 200;  // nanoseconds an event

const std::string area = "Trigger logic (ns an event)";

struct Chain {
    Session session{bench::library()};

    TriggerId trigger() { return session.addTrigger("events"); }
    PipeId pipe() { return session.addPipe({.name = "numbers", .type = ElementType::int32}); }
    TaskArgument generated(std::int16_t period = 3) {
        const TriggerId made = trigger();
        session.addTask({.command = "TGEN", .arguments = {int16Constant(period), session.use(made)}});
        return session.use(made);
    }
    TaskArgument collectedTrigger(std::uint64_t limit) {
        const TriggerId result = trigger();
        session.collect(result, limit);
        return session.use(result);
    }
    TaskArgument collectedPipe(std::uint64_t limit) {
        const PipeId result = pipe();
        session.collect(result, limit, limit);
        return session.use(result);
    }
};

// Builds a chain by `build` and runs it, once an iteration; an item is an event of its (first) generator.
template <class Build>
void runChain(benchmark::State& state, Build build) {
    for (auto _ : state) {
        Chain chain;
        build(chain);
        if (chain.session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(events));
}

void combine(benchmark::State& state, const char* command, std::vector<std::int16_t> periods, std::uint64_t results) {
    runChain(state, [&](Chain& chain) {
        TaskSettings task{.command = command};
        for (const std::int16_t period : periods) task.arguments.push_back(chain.generated(period));
        task.arguments.push_back(chain.collectedTrigger(results));
        chain.session.addTask(std::move(task));
    });
}

void tor(benchmark::State& state) { combine(state, "TOR", {2, 2}, events); }
void tor64(benchmark::State& state) {
    std::vector<std::int16_t> periods;
    for (std::int16_t period = 64; period < 128; ++period) periods.push_back(period);
    combine(state, "TOR", periods, events);
}
void tand(benchmark::State& state) { combine(state, "TAND", {3, 3}, events); }
void tandSeldom(benchmark::State& state) { combine(state, "TAND", {10, 9}, events / 9); }
void tcollate(benchmark::State& state) { combine(state, "TCOLLATE", {2, 2}, events); }

void nth(benchmark::State& state) {
    runChain(state, [](Chain& chain) {
        const TaskArgument source = chain.generated();
        chain.session.addTask(
            {.command = "NTH", .arguments = {source, int16Constant(10), chain.collectedTrigger(events / 10)}});
    });
}

void trigscale(benchmark::State& state) {
    runChain(state, [](Chain& chain) {
        const TaskArgument source = chain.generated();
        chain.session.addTask({.command = "TRIGSCALE",
                               .arguments = {source, int16Constant(100), int16Constant(5), int16Constant(3),
                                             chain.collectedTrigger(events)}});
    });
}

void frequency(benchmark::State& state) {
    runChain(state, [](Chain& chain) {
        const TaskArgument source = chain.generated();
        chain.session.addTask(
            {.command = "FREQUENCY", .arguments = {source, int16Constant(300), chain.collectedPipe(events / 100)}});
    });
}

void tstamp(benchmark::State& state) {
    runChain(state, [](Chain& chain) {
        const TaskArgument source = chain.generated();
        chain.session.addTask({.command = "TSTAMP", .arguments = {source, chain.collectedPipe(events)}});
    });
}

void sendAndReceive(benchmark::State& state) {
    runChain(state, [](Chain& chain) {
        const TaskArgument source = chain.generated(), words = chain.session.use(chain.pipe());
        chain.session.addTask({.command = "TRIGSEND", .arguments = {source, words}});
        chain.session.addTask({.command = "TRIGRECV", .arguments = {words, chain.collectedTrigger(events)}});
    });
}

#define EVENT_RATE(name) \
    BENCHMARK(name);     \
    const bool added_##name = bench::compare({area, #name, "", "", longest})

EVENT_RATE(tor);
EVENT_RATE(tor64);
EVENT_RATE(tand);
EVENT_RATE(tandSeldom);
EVENT_RATE(tcollate);
EVENT_RATE(nth);
EVENT_RATE(trigscale);
EVENT_RATE(frequency);
EVENT_RATE(tstamp);
EVENT_RATE(sendAndReceive);

}  // namespace
