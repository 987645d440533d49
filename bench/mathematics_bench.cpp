// Commands that use the host's mathematics, beside NumPy where it has the operation and beside plain loops of the C library's.
// They run from memory to memory in double and float; the generators compute every sample, and a block is computed once.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using namespace libzepl;
using bench::samples;

const std::string area = "Commands that use mathematics (ns a sample)";

template <class Element>
const std::string typeName = sizeof(Element) == 8 ? "double" : "float";

// Results go to memory that lasts, two streams of it: fresh memory costs more than some of these commands.
template <class Element>
std::vector<Element>& kept(int output) {
    static std::vector<Element> results[] = {std::vector<Element>(samples), std::vector<Element>(samples)};
    return results[output];
}

template <class Element>
class KeptSink : public Sink {
 public:
    explicit KeptSink(int output) : next_(kept<Element>(output).data()) {}
    void write(const void* elements, std::size_t count) override {
        std::memcpy(next_, elements, count * sizeof(Element));
        next_ += count;
    }
    void finish() override {}

 private:
    Element* next_;
};

// Runs `command (inputs..., given..., outputs...)` once an iteration: each input is the recording, and each output takes
// `wanted` elements.
struct Work {
    std::string command;
    int inputs = 0, outputs = 1;
    std::vector<TaskArgument> before{};   // the inputs
    std::vector<TaskArgument> between{};  // the inputs and the outputs
    std::vector<TaskArgument> after{};
    std::size_t wanted = samples;
};

template <class Element>
void run(benchmark::State& state, const Work& work) {
    const std::vector<Element>& source = bench::recording<Element>();
    for (auto _ : state) {
        Session session(bench::library());
        TaskSettings task{.command = work.command, .arguments = work.before};
        const auto pipe = [&](const std::string& name) {
            const PipeId id = session.addPipe({.name = name, .type = bench::typeOf<Element>});
            task.arguments.push_back(session.use(id));
            return id;
        };
        for (int i = 0; i < work.inputs; ++i)
            session.feedMemory(pipe("in" + std::to_string(i)), source.data(), source.size());
        task.arguments.insert(task.arguments.end(), work.between.begin(), work.between.end());
        for (int i = 0; i < work.outputs; ++i)
            session.setOutput(pipe("out" + std::to_string(i)), std::make_unique<KeptSink<Element>>(i), work.wanted);
        task.arguments.insert(task.arguments.end(), work.after.begin(), work.after.end());
        session.addTask(std::move(task));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// Calls `function(i, x)` for each sample of the recording, in double.
template <class Element, class Function>
void runPlain(benchmark::State& state, Function function) {
    const std::vector<Element>& source = bench::recording<Element>();
    for (auto _ : state) {
        std::vector<Element>& result = kept<Element>(0);
        for (std::size_t i = 0; i < samples; ++i)
            result[i] = static_cast<Element>(function(static_cast<double>(i), static_cast<double>(source[i])));
        benchmark::DoNotOptimize(result.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element, class Function>
void addPair(const std::string& label, const Work& work, double limit, Function function) {
    const std::string name = label + "_" + typeName<Element>, plain = "plain" + name;
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) { run<Element>(state, work); });
    benchmark::RegisterBenchmark(plain.c_str(),
                                 [function](benchmark::State& state) { runPlain<Element>(state, function); });
    // Without NumPy's limit it is a command whose values go one by one, and the pipes are what takes the time.
    bench::compare({area, name, bench::plainLoop, plain, limit > 0 ? 1.0 : 6.0});
    if (limit > 0) bench::compareWithPython(area, name, bench::numpyPeer, limit);
}

constexpr double period = 314.159;

double levelOf(double numerator, double denominator) { return 20 * std::log10(numerator / denominator); }

template <class Element>
void addPairs() {
    constexpr double limit = 0.8, turn = 2 * std::numbers::pi;
    const auto length = static_cast<std::int32_t>(samples);
    TaskArgument peak = doubleConstant(1000);
    if (sizeof(Element) == 4) peak = floatConstant(1000);
    addPair<Element>("TFUNCTION1", {.command = "TFUNCTION1", .inputs = 4, .outputs = 2}, limit, [](double i, double x) {
        const double m1 = std::sqrt(x * x + i * i), m2 = std::sqrt(x * x + x * x);
        return levelOf(m2, m1) + std::atan2(x * x - x * i, x * x + i * x);
    });
    addPair<Element>("TFUNCTION2", {.command = "TFUNCTION2", .inputs = 3, .outputs = 2}, limit,
                     [](double i, double x) { return levelOf(std::sqrt(x * x + i * i), i + 1) + std::atan2(x, i); });
    for (const std::string shape : {"SINE", "COSINE"})
        addPair<Element>(shape + "WAVE_direct",
                         {.command = shape + "WAVE", .before = {int16Constant(1000), doubleConstant(period)}}, limit,
                         [=](double i, double) { return 1000 * std::sin(turn / period * i); });
    for (const std::string law : {"LIN", "LOG"})
        addPair<Element>("CHIRP_" + law,
                         {.command = "CHIRP",
                          .before = {textConstant(law), textConstant("UNIDIR"), peak, int32Constant(length),
                                     int16Constant(100), int16Constant(10), doubleConstant(0)}},
                         limit, [=, angle = 0.0](double i, double) mutable {
                             const double u = i / (samples - 1.0);
                             angle +=
                                 law == "LOG" ? turn / 100 * std::pow(10, u) : turn / 100 * (1 - u) + turn / 10 * u;
                             return 1000 * std::cos(angle);
                         });
    addPair<Element>("FFT_polar",
                     {.command = "FFT",
                      .inputs = 1,
                      .outputs = 2,
                      .before = {int16Constant(6), int16Constant(10), int16Constant(0)},
                      .wanted = samples / 2},
                     limit, [](double i, double x) { return std::atan2(x, i) + std::sqrt(x * x + i * i); });
    addPair<Element>("PIDRAMP",
                     {.command = "PIDRAMP", .inputs = 1, .after = {int16Constant(4096), textConstant("EXPONENTIAL")}},
                     0, [](double i, double) {
                         const double x = -2.65 / 4096 * std::fmod(i, 4096);
                         return std::exp(x) + x * std::exp(x / 0.9193018) / 2.0999997;
                     });
}

const bool added = [] {
    addPairs<float>();
    addPairs<double>();
    return true;
}();

}  // namespace
