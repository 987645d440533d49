// PID beside a bare loop of its law, and its value-by-value way through pipes that are full, with no other task ready.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using bench::samples, bench::typeOf;

const std::string area = "Control (ns a sample)";

constexpr float interval = 0.5F;
constexpr float gains[4] = {0.5F, 20, 2, 0.75F};

// A process that swings about its set point, which steps now and then; the loop is at a limit for a while behind a step.
template <class Element>
struct Process {
    std::vector<Element> setpoints, measured;

    Process() : setpoints(samples), measured(samples) {
        std::int32_t level = 0;
        for (std::size_t i = 0; i < samples; ++i) {
            const std::int32_t setpoint = (i & 4096) != 0 ? 9000 : -6000,
                               noise = static_cast<std::int32_t>(i * 7919 % 31);
            level += (setpoint - level) / 64 + ((i & 128) != 0 ? 25 : -25);
            setpoints[i] = static_cast<Element>(setpoint);
            measured[i] = static_cast<Element>(level + noise);
        }
    }
};
template <class Element>
const Process<Element>& process() {
    static const Process<Element> made;
    return made;
}

// What PID computes for each sample, with neither pipes nor switches.
template <class Element>
void lawAlone(const Process<Element>& input, Element* drive) {
    const auto& [setpoints, measured] = input;
    const double K = gains[0], Kz = gains[3], integralFactor = interval / double{gains[1]},
                 derivativeFactor = gains[2] / double{interval};
    double sum = 0, filtered = 0, previous = measured[0];
    for (std::size_t i = 0; i < samples; ++i) {
        const double setpoint = static_cast<double>(setpoints[i]), feedback = static_cast<double>(measured[i]);
        double error = setpoint - feedback;
        filtered = 0.35 * (feedback - previous) + 0.65 * filtered;
        double output = K * ((error + sum) * integralFactor + (Kz * setpoint - feedback) - filtered * derivativeFactor);
        if (output >= 32767) {
            output = 32767;
            error = 0.08 * error;
        } else if (output <= -32767) {
            output = -32767;
            error = 0.08 * error;
        }
        sum += error;
        previous = feedback;
        drive[i] = static_cast<Element>(output);
    }
}

template <class Element>
void pidLaw(benchmark::State& state) {
    for (auto _ : state) {
        // New memory each time, as a session has it.
        auto* const drive = static_cast<Element*>(std::malloc(samples * sizeof(Element)));
        lawAlone(process<Element>(), drive);
        benchmark::DoNotOptimize(drive);
        benchmark::ClobberMemory();
        std::free(drive);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element>
void pidCommand(benchmark::State& state) {
    using namespace libzepl;
    for (auto _ : state) {
        Session session(bench::library(), {.feed = {.kind = FeedPolicy::Kind::whole}});
        const auto pipe = [&](const char* name) { return session.addPipe({.name = name, .type = typeOf<Element>}); };
        const PipeId setpoints = pipe("setpoints"), measured = pipe("measured"), drive = pipe("drive");
        const PipeId sets = session.addPipe({.name = "sets", .type = ElementType::float32});
        session.feedMemory(setpoints, process<Element>().setpoints.data(), samples);
        session.feedMemory(measured, process<Element>().measured.data(), samples);
        session.feedMemory(sets, gains, 4);
        session.collect(drive, {}, samples);
        TaskSettings pid{"PID", {session.use(setpoints), session.use(measured), session.use(sets)}};
        pid.arguments.insert(pid.arguments.end(), {floatConstant(interval), session.use(drive)});
        // The other types have these limits anyway.
        if constexpr (std::is_same_v<Element, std::int32_t>)
            pid.arguments.insert(pid.arguments.end(), {int16Constant(-32767), int16Constant(32767)});
        session.addTask(std::move(pid));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#define CONTROL_PAIR(type, name)                      \
    BENCHMARK(pidCommand<type>)->Name("PID_" #name);  \
    BENCHMARK(pidLaw<type>)->Name("lawOfPID_" #name); \
    const bool pairOf_##name = bench::compare({area, "PID_" #name, bench::plainLoop, "lawOfPID_" #name, 3})

CONTROL_PAIR(std::int16_t, int16);
CONTROL_PAIR(std::int32_t, int32);
CONTROL_PAIR(float, float);
CONTROL_PAIR(double, double);

}  // namespace
