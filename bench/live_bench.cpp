// What live sessions cost: the way from a push to an output, alone and in quantity, sleep, and taps.

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "bench/report.h"
#include "runtime/live.h"

namespace {

using namespace libzepl;
using Clock = std::chrono::steady_clock;

const std::string latencyArea = "Live sessions (ns from a push to an output that takes the sample, the session asleep)";
const std::string rateArea = "Live samples (ns a sample through ABS)";
const std::string idleArea = "Idle live session (ns of processor time a second)";
const std::string tapArea =
    "Taps (ns a sample through ABS and a tap; 12.5 is a tenth of a core for 8 million a second)";

// Pushing and computing go on side by side, on whatever cores there are.
class AllCores {
 public:
    AllCores() {
        sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t all;
        CPU_ZERO(&all);
        for (unsigned core = 0; core < std::thread::hardware_concurrency(); ++core) CPU_SET(core, &all);
        sched_setaffinity(0, sizeof all, &all);
    }
    AllCores(const AllCores&) = delete;
    AllCores& operator=(const AllCores&) = delete;
    ~AllCores() { sched_setaffinity(0, sizeof before_, &before_); }

 private:
    cpu_set_t before_;
};

double secondsSince(Clock::time_point begin) { return std::chrono::duration<double>(Clock::now() - begin).count(); }

// source -> ABS -> result.
struct AbsSession {
    AbsSession() : session(bench::library()) {
        source = session.addPipe({.name = "source", .type = ElementType::int16});
        result = session.addPipe({.name = "result", .type = ElementType::int16});
        session.addTask({.command = "ABS", .arguments = {session.use(source), session.use(result)}});
    }
    Session session;
    PipeId source, result;
};

// Notes when a sample comes.
class ClockedSink : public Sink {
 public:
    explicit ClockedSink(std::atomic<Clock::rep>& at) : at_(at) {}
    void write(const void*, std::size_t) override { at_ = Clock::now().time_since_epoch().count(); }
    void finish() override {}

 private:
    std::atomic<Clock::rep>& at_;
};

std::vector<double> latencies() {
    constexpr int pushes = 2000;
    const AllCores cores;
    std::vector<double> nanoseconds;
    std::atomic<Clock::rep> arrival{0};
    AbsSession live;
    LiveInput& input = live.session.feedLive(live.source);
    live.session.setOutput(live.result, std::make_unique<ClockedSink>(arrival));
    live.session.start();
    const std::int16_t sample = -5;
    for (int i = 0; i < pushes; ++i) {
        // The session falls asleep meanwhile.
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        arrival = 0;
        const Clock::rep begin = Clock::now().time_since_epoch().count();
        input.push(&sample, 1);
        while (arrival == 0) std::this_thread::yield();
        nanoseconds.push_back(static_cast<double>(arrival - begin));
    }
    input.finish();
    live.session.wait();
    return nanoseconds;
}

void latency(benchmark::State& state, double part) {
    for (auto _ : state) state.SetIterationTime(bench::quantile(latencies(), part) * 1e-9);
    state.SetItemsProcessed(state.iterations());
}
void liveLatencyMedian(benchmark::State& state) { latency(state, 0.5); }
void liveLatency99thPercentile(benchmark::State& state) { latency(state, 0.99); }

constexpr int repeats = 8;

void livePush(benchmark::State& state) {
    const std::vector<std::int16_t>& samples = bench::recording<std::int16_t>();
    const AllCores cores;
    for (auto _ : state) {
        AbsSession live;
        LiveInput& input = live.session.feedLive(live.source);
        live.session.collect(live.result, {}, repeats * samples.size());
        const Clock::time_point begin = Clock::now();
        live.session.start();
        for (int i = 0; i < repeats; ++i) input.pushAll(samples);
        input.finish();
        live.session.wait();
        state.SetIterationTime(secondsSince(begin));
    }
    state.SetItemsProcessed(state.iterations() * repeats * static_cast<std::int64_t>(samples.size()));
}

// The same samples from memory.
void liveFromMemory(benchmark::State& state) {
    std::vector<std::int16_t> samples;
    for (int i = 0; i < repeats; ++i) {
        const auto& recording = bench::recording<std::int16_t>();
        samples.insert(samples.end(), recording.begin(), recording.end());
    }
    for (auto _ : state) {
        AbsSession memory;
        memory.session.feedMemory(memory.source, samples.data(), samples.size());
        memory.session.collect(memory.result, {}, samples.size());
        const Clock::time_point begin = Clock::now();
        memory.session.run();
        state.SetIterationTime(secondsSince(begin));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}

// Of all threads but this one.
double othersSeconds() {
    const auto seconds = [](clockid_t clock) {
        timespec t{};
        clock_gettime(clock, &t);
        return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
    };
    return seconds(CLOCK_PROCESS_CPUTIME_ID) - seconds(CLOCK_THREAD_CPUTIME_ID);
}

void liveIdle(benchmark::State& state) {
    AbsSession live;
    LiveInput& input = live.session.feedLive(live.source);
    live.session.collect(live.result);
    live.session.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    for (auto _ : state) {
        const double before = othersSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        state.SetIterationTime(std::max(othersSeconds() - before, 0.0) + 1e-12);
    }
    state.SetItemsProcessed(state.iterations());
    input.finish();
    live.session.wait();
}

class NullSink : public Sink {
 public:
    void write(const void*, std::size_t) override {}
    void finish() override {}
};

// Eight pipes; with a tap on each, where `isWatched`.
void eightPipes(benchmark::State& state, bool isWatched) {
    constexpr int pipes = 8;
    const std::vector<float>& samples = bench::recording<float>();
    for (auto _ : state) {
        Session session(bench::library());
        std::vector<Tap> taps;
        for (int i = 0; i < pipes; ++i) {
            const PipeId source = session.addPipe({.type = ElementType::float32});
            const PipeId result = session.addPipe({.type = ElementType::float32});
            session.feedMemory(source, samples.data(), samples.size());
            session.addTask({.command = "ABS", .arguments = {session.use(source), session.use(result)}});
            session.setOutput(result, std::make_unique<NullSink>());
            if (isWatched)
                taps.push_back(session.watch(result, {.elements = 10000, .columns = 2000, .perColumn = 100}));
        }
        benchmark::DoNotOptimize(session.run().status);
    }
    state.SetItemsProcessed(state.iterations() * pipes * static_cast<std::int64_t>(samples.size()));
}

void liveTaps(benchmark::State& state) { eightPipes(state, true); }
void liveNoTaps(benchmark::State& state) { eightPipes(state, false); }

BENCHMARK(liveLatencyMedian)->UseManualTime()->Iterations(1);
BENCHMARK(liveLatency99thPercentile)->UseManualTime()->Iterations(1);
BENCHMARK(livePush)->UseManualTime();
BENCHMARK(liveFromMemory)->UseManualTime();
BENCHMARK(liveIdle)->UseManualTime()->Iterations(1);
BENCHMARK(liveTaps);
BENCHMARK(liveNoTaps);

const bool added = bench::compare({latencyArea, "liveLatencyMedian", "", "", 20000}) &&
                   bench::compare({latencyArea, "liveLatency99thPercentile", "", "", 200000}) &&
                   bench::compare({rateArea, "livePush", "from memory", "liveFromMemory", 2}) &&
                   bench::compare({idleArea, "liveIdle", "", "", 10000}) &&
                   bench::compare({tapArea, "liveTaps", "", "", 12.5}) &&
                   bench::compare({tapArea, "liveNoTaps", "", "", 0});

}  // namespace
