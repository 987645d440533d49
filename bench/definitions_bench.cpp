// Pipes that expressions define, from memory to memory, beside plain loops, NumPy and SciPy.

#include <cmath>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "runtime/binder.h"

namespace {

using namespace libzepl;

const std::string area = "Defined pipes, double (ns a sample)";

void runDefinition(benchmark::State& state, const std::string& expression,
                   const std::vector<std::string>& inputs = {"a", "b"}) {
    const std::vector<double>& source = bench::recording<double>();
    std::string text = "pipe d : double = " + expression + "\n";
    for (const std::string& input : inputs) text += "pipe " + input + " : double\n";
    for (auto _ : state) {
        std::vector<Diagnostic> mistakes;
        const Procedure procedure = parseProcedure({"bench.zp", text}, mistakes);
        BoundProcedure bound = bindProcedure(procedure, bench::library(), {}, mistakes);
        Session& session = *bound.session;
        for (const std::string& name : inputs)
            session.feedMemory(session.pipeNamed(name), source.data(), source.size());
        session.collect(session.pipeNamed("d"), {}, bench::samples);
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(bench::samples));
}

// A plain loop of the same work over the same memory, whose result is made anew as a run's is.
template <class Compute>
void runLoop(benchmark::State& state, Compute compute) {
    const std::vector<double>& source = bench::recording<double>();
    const double *a = source.data(), *b = source.data();
    for (auto _ : state) {
        std::vector<double> d(bench::samples);
        benchmark::DoNotOptimize(a);
        for (std::size_t i = 0; i < bench::samples; ++i) d[i] = compute(a[i], b[i]);
        benchmark::DoNotOptimize(d.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(bench::samples));
}

void defined_difference(benchmark::State& state) { runDefinition(state, "a - b"); }
void defined_scaledSum(benchmark::State& state) { runDefinition(state, "a * 2.5 + b"); }
void defined_magnitude(benchmark::State& state) { runDefinition(state, "sqrt(a*a + b*b)"); }
void defined_threshold(benchmark::State& state) { runDefinition(state, "if(abs(a) > 1000, 1, 0)", {"a"}); }
void defined_biquad(benchmark::State& state) {
    runDefinition(state, "0.2 * a - 0.3 * a[-1] + 0.1 * a[-2] + 1.2 * d[-1] - 0.5 * d[-2]", {"a"});
}
void differenceLoop(benchmark::State& state) {
    runLoop(state, [](double a, double b) { return a - b; });
}
void scaledSumLoop(benchmark::State& state) {
    runLoop(state, [](double a, double b) { return a * 2.5 + b; });
}
void magnitudeLoop(benchmark::State& state) {
    runLoop(state, [](double a, double b) { return std::sqrt(a * a + b * b); });
}
void thresholdLoop(benchmark::State& state) {
    runLoop(state, [](double a, double) { return std::fabs(a) > 1000 ? 1.0 : 0.0; });
}

BENCHMARK(defined_difference);
BENCHMARK(defined_scaledSum);
BENCHMARK(defined_magnitude);
BENCHMARK(defined_threshold);
BENCHMARK(defined_biquad);
BENCHMARK(differenceLoop);
BENCHMARK(scaledSumLoop);
BENCHMARK(magnitudeLoop);
BENCHMARK(thresholdLoop);

const bool added = [] {
    for (const std::string name : {"difference", "scaledSum", "magnitude", "threshold"}) {
        bench::compare({area, "defined_" + name, bench::plainLoop, name + "Loop", 2});
        bench::compareWithPython(area, "defined_" + name, bench::numpyPeer, 1);
    }
    return bench::compareWithPython(area, "defined_biquad", bench::scipyPeer, 1);
}();

}  // namespace
