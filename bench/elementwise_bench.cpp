// Element-wise commands from a source in memory to a sink in memory, beside what they cannot do without: two passes of
// memcpy and the plain arithmetic, over the same blocks of the same memory.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"
#include "frame/vector_clones.h"

namespace {

using bench::samples, bench::pieceSize, bench::recording, std::int16_t, std::int32_t;

const std::string area = "Element-wise commands, from memory to memory (ns a sample)";

constexpr std::size_t blockSize = 1000;  // what the command takes of a piece: it makes blocks of 1000 and 24

template <class Element, class Function>
ZCMDS_VECTOR_CLONES void plainBlock(Element* elements, std::size_t n, Function function) {
    for (std::size_t i = 0; i < n; ++i) elements[i] = function(elements[i]);
}

template <class Element, class Function>
void runPlain(benchmark::State& state, Function function) {
    const std::vector<Element>& source = recording<Element>();
    static Element block[blockSize];
    for (auto _ : state) {
        // New memory each time, as a session has it.
        auto* result = static_cast<Element*>(std::malloc(samples * sizeof(Element)));
        for (std::size_t at = 0; at < samples;) {
            const std::size_t n = std::min(blockSize, pieceSize - at % pieceSize);
            std::memcpy(block, source.data() + at, n * sizeof(Element));
            plainBlock(block, n, function);
            std::memcpy(result + at, block, n * sizeof(Element));
            at += n;
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element>
const std::string typeName = std::is_same_v<Element, int16_t>   ? "int16"
                             : std::is_same_v<Element, int32_t> ? "int32"
                             : std::is_same_v<Element, float>   ? "float"
                                                                : "double";

template <class Element>
libzepl::TaskArgument constant(Element value) {
    if constexpr (std::is_same_v<Element, int16_t>) return libzepl::int16Constant(value);
    if constexpr (std::is_same_v<Element, int32_t>) return libzepl::int32Constant(value);
    if constexpr (std::is_same_v<Element, float>) return libzepl::floatConstant(value);
    if constexpr (std::is_same_v<Element, double>) return libzepl::doubleConstant(value);
}

// Of the commands that use the host's mathematics.
template <class Element>
double numpyLimit(const std::string& command) {
    const bool limited = command == "DECIBEL" || command == "CANGLE" || command == "POLAR";
    return limited && !std::is_integral_v<Element> ? 0.8 : 0;
}

// Registers the command with these values and its plain loop.
template <class Element, class Function>
void addPair(const char* command, const std::vector<Element>& values, double limit, Function function) {
    std::vector<libzepl::TaskArgument> given;
    for (const Element value : values) given.push_back(constant(value));
    const std::string name = command + ("_" + typeName<Element>), plain = "plain" + name;
    benchmark::RegisterBenchmark(
        name.c_str(), [command, given](benchmark::State& state) { bench::runCommand<Element>(state, command, given); });
    benchmark::RegisterBenchmark(plain.c_str(),
                                 [function](benchmark::State& state) { runPlain<Element>(state, function); });
    bench::compare({area, name, bench::plainLoop, plain, limit});
    bench::compareWithPython(area, name, bench::numpyPeer, numpyLimit<Element>(command));
}

// In the type that holds the result before it is saturated.
template <class Element>
using Wide = std::conditional_t<std::is_integral_v<Element>, std::int64_t, Element>;

template <class Element>
Element held(Wide<Element> x) {
    if constexpr (std::is_integral_v<Element>)
        return static_cast<Element>(
            std::clamp<std::int64_t>(x, std::numeric_limits<Element>::min(), std::numeric_limits<Element>::max()));
    else
        return x;
}

template <class Element>
void addPairs() {
    using Real = std::conditional_t<std::is_same_v<Element, float>, float, double>;
    addPair<Element>("ABS", {}, 2, [](Element x) { return held<Element>(std::abs(Wide<Element>{x})); });
    addPair<Element>("DELTA", {}, 2, [previous = Element{0}](Element x) mutable {
        const Element difference = held<Element>(Wide<Element>{x} - previous);
        previous = x;
        return difference;
    });
    addPair<Element>("OFFSET", {3}, 2, [](Element x) { return held<Element>(Wide<Element>{x} + 3); });
    addPair<Element>("SCALE", {3, 30, 7}, 2,
                     [by = Wide<Element>{7}](Element x) { return held<Element>((Wide<Element>{x} + 3) * 30 / by); });
    addPair<Element>("SQRT", {}, 2,
                     [](Element x) { return static_cast<Element>(x > 0 ? std::sqrt(static_cast<Real>(x)) : Real{0}); });
    addPair<Element>("BOUND", {-1000, 1000}, 2, [](Element x) { return std::clamp<Element>(x, -1000, 1000); });
    // The plain loop has the logarithm in double, also for the integers.
    addPair<Element>("DECIBEL", {1000, 10}, 3, [](Element x) {
        const double magnitude = std::max(std::abs(static_cast<double>(x)), 1e-38);
        return static_cast<Element>(10 * 20 * std::log10(magnitude / 1000));
    });
}

// RANGE against the copy of what it keeps, half of the samples, by a branch that this regular recording makes cheap.
template <class Element>
void addRange() {
    const std::string name = "RANGE_" + typeName<Element>, plain = "plain" + name;
    const std::vector<libzepl::TaskArgument> given{libzepl::hostWord(0), constant<Element>(0),
                                                   constant<Element>(32767)};
    benchmark::RegisterBenchmark(
        name.c_str(), [given](benchmark::State& state) { bench::runCommand<Element>(state, "RANGE", given); });
    benchmark::RegisterBenchmark(plain.c_str(), [](benchmark::State& state) {
        const std::vector<Element>& source = recording<Element>();
        for (auto _ : state) {
            std::vector<Element> kept;
            std::copy_if(source.begin(), source.end(), std::back_inserter(kept), [](Element x) { return x >= 0; });
            benchmark::DoNotOptimize(kept.data());
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
    });
    bench::compare({area, name, bench::plainLoop, plain, 4});
    bench::compareWithPython(area, name, bench::numpyPeer);
}

// A command on a complex stream; an item is a pair.
template <class Element>
void runComplex(benchmark::State& state, const char* command, int results) {
    using namespace libzepl;
    const std::vector<Element>& source = recording<Element>();
    for (auto _ : state) {
        Session session(bench::library());
        TaskSettings task{.command = command};
        for (const char* name : {"re", "im"}) {
            const PipeId in = session.addPipe({.name = name, .type = bench::typeOf<Element>});
            session.feedMemory(in, source.data(), source.size());
            task.arguments.push_back(session.use(in));
        }
        for (int i = 0; i < results; ++i) {
            const PipeId out = session.addPipe({.name = "out" + std::to_string(i), .type = bench::typeOf<Element>});
            session.collect(out, {}, samples);
            task.arguments.push_back(session.use(out));
        }
        session.addTask(std::move(task));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element, class Function>
void runPlainComplex(benchmark::State& state, Function function) {
    const std::vector<Element>& source = recording<Element>();
    for (auto _ : state) {
        std::vector<Element> first(samples), second(samples);
        for (std::size_t i = 0; i < samples; ++i) function(source[i], source[i], first[i], second[i]);
        benchmark::DoNotOptimize(first.data());
        benchmark::DoNotOptimize(second.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element>
void addComplex() {
    const auto add = [](const char* command, int results, auto function) {
        const std::string name = command + ("_" + typeName<Element>), plain = "plain" + name;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [=](benchmark::State& state) { runComplex<Element>(state, command, results); });
        benchmark::RegisterBenchmark(plain.c_str(),
                                     [=](benchmark::State& state) { runPlainComplex<Element>(state, function); });
        bench::compare({area, name, bench::plainLoop, plain, 2});
        if (results == 1 || !std::is_integral_v<Element>)
            bench::compareWithPython(area, name, bench::numpyPeer, numpyLimit<Element>(command));
        if (std::is_same_v<Element, float> && command == std::string("CANGLE"))
            bench::compareWithPython(area, name, bench::numpyPeer + ", in double", 0.8);
    };
    const auto magnitude = [](Element re, Element im, Element& first, Element&) {
        const double a = static_cast<double>(re), b = static_cast<double>(im);
        first = static_cast<Element>(std::min<double>(std::sqrt(a * a + b * b), std::numeric_limits<Element>::max()));
    };
    const auto angle = [](Element re, Element im, Element&, Element& second) {
        constexpr double unit = std::is_integral_v<Element> ? std::numeric_limits<Element>::max() / 3.2 : 1;
        second = static_cast<Element>(std::atan2(static_cast<double>(im), static_cast<double>(re)) * unit);
    };
    add("CMAG", 1, magnitude);
    add("CANGLE", 1, angle);
    add("POLAR", 2, [=](Element re, Element im, Element& first, Element& second) {
        magnitude(re, im, first, second);
        angle(re, im, first, second);
    });
}

const bool added = [] {
    const auto addAll = []<class Element>(Element) {
        addPairs<Element>();
        addRange<Element>();
        addComplex<Element>();
    };
    addAll(int16_t{});
    addAll(int32_t{});
    addAll(float{});
    addAll(double{});
    return true;
}();

}  // namespace
