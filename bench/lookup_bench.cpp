// INTERP and THERMO from memory to memory beside the same lookup by std::lower_bound, sample by sample: over a slow wave,
// whose next sample is easily foreseen, and over noise.

#include <algorithm>
#include <cmath>
#include <random>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using bench::samples;

const std::string area = "Lookup in tables, beside std::lower_bound (ns a sample)";

enum class Signal { wave, noise };

constexpr std::size_t tableLength = 200;

template <class Element, Signal signal>
const std::vector<Element>& source() {
    static const std::vector<Element> elements = [] {
        std::mt19937 random(1);
        std::vector<Element> made(samples);
        for (std::size_t i = 0; i < samples; ++i)
            made[i] = static_cast<Element>(signal == Signal::wave
                                               ? static_cast<int>(32000 * std::sin(static_cast<double>(i) * 0.01))
                                               : static_cast<int>(random() % 65536) - 32768);
        return made;
    }();
    return elements;
}

// A rising table over the range of int16.
template <class Element>
const std::vector<Element>& table() {
    static const std::vector<Element> points = [] {
        std::vector<Element> made;
        for (std::size_t i = 0; i < tableLength; ++i)
            made.push_back(static_cast<Element>(static_cast<int>(i) * 329 - 32768));
        return made;
    }();
    return points;
}

template <class Element>
std::vector<std::byte> bytes(const std::vector<Element>& elements) {
    const auto* first = reinterpret_cast<const std::byte*>(elements.data());
    return {first, first + elements.size() * sizeof(Element)};
}

template <class Element, Signal signal>
void interpCommand(benchmark::State& state) {
    using namespace libzepl;
    const std::vector<Element>& from = source<Element, signal>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in", .type = bench::typeOf<Element>}),
                     out = session.addPipe({.name = "out", .type = bench::typeOf<Element>});
        session.feedMemory(in, from.data(), from.size());
        session.collect(out, {}, samples);
        const VectorId points = session.addVector("points", bench::typeOf<Element>, bytes(table<Element>()));
        session.addTask({.command = "INTERP",
                         .arguments = {session.use(in), session.use(points), session.use(points), session.use(out)}});
        benchmark::DoNotOptimize(session.run().status);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <class Element, class Keys, class Values>
Element looked(const Keys& keys, const Values& values, Element x) {
    if (x <= keys[0]) return values[0];
    const auto high =
        static_cast<std::size_t>(std::lower_bound(std::begin(keys), std::end(keys), x) - std::begin(keys));
    if (high == std::size(keys)) return values[high - 1];
    const auto low = high - 1;
    using Wide = std::conditional_t<sizeof(Element) == 2, std::int32_t,
                                    std::conditional_t<std::is_integral_v<Element>, std::int64_t, double>>;
    return static_cast<Element>(values[low] + static_cast<Wide>(values[high] - values[low]) * (x - keys[low]) /
                                                  (keys[high] - keys[low]));
}

template <class Element, Signal signal>
void interpPlain(benchmark::State& state) {
    const std::vector<Element>&from = source<Element, signal>(), &points = table<Element>();
    std::vector<Element> result(samples);
    for (auto _ : state) {
        for (std::size_t i = 0; i < samples; ++i) result[i] = looked(points, points, from[i]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

template <Signal signal>
void thermoCommand(benchmark::State& state) {
    using namespace libzepl;
    const std::vector<std::int16_t>& from = source<std::int16_t, signal>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in"}), out = session.addPipe({.name = "out"});
        session.feedMemory(in, from.data(), from.size());
        session.collect(out, {}, samples);
        session.addTask(
            {.command = "THERMO",
             .arguments = {session.use(in), textConstant("K"), int16Constant(1), int16Constant(5), session.use(out)}});
        benchmark::DoNotOptimize(session.run().status);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

// The curve of type K.
constexpr std::int16_t voltages[40] = {-646, -643, -634, -621, -604, -573, -535, -491, -441, -385,
                                       -308, -224, -116, 0,    120,  252,  389,  533,  674,  814,
                                       1015, 1221, 1429, 1640, 1936, 2235, 2533, 2829, 3080, 3328,
                                       3572, 3812, 4049, 4282, 4511, 4736, 4956, 5134, 5309, 5481};

template <Signal signal>
void thermoPlain(benchmark::State& state) {
    const std::vector<std::int16_t>& from = source<std::int16_t, signal>();
    std::vector<std::int16_t> result(samples);
    std::int16_t div = 5;
    for (auto _ : state) {
        benchmark::DoNotOptimize(div);
        for (std::size_t i = 0; i < samples; ++i)
            result[i] = looked(voltages, voltages, static_cast<std::int16_t>(from[i] / div));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

#define LOOKUP_PAIR(name, command, plain, ...)          \
    BENCHMARK(command<__VA_ARGS__>)->Name(#name);       \
    BENCHMARK(plain<__VA_ARGS__>)->Name("plain" #name); \
    const bool added_##name = bench::compare({area, #name, bench::plainLoop, "plain" #name, 1})
#define INTERP_PAIRS(type, name)                                                       \
    LOOKUP_PAIR(INTERP_##name##_wave, interpCommand, interpPlain, type, Signal::wave); \
    LOOKUP_PAIR(INTERP_##name##_noise, interpCommand, interpPlain, type, Signal::noise)

INTERP_PAIRS(std::int16_t, int16);
INTERP_PAIRS(std::int32_t, int32);
INTERP_PAIRS(float, float);
INTERP_PAIRS(double, double);
LOOKUP_PAIR(THERMO_wave, thermoCommand, thermoPlain, Signal::wave);
LOOKUP_PAIR(THERMO_noise, thermoCommand, thermoPlain, Signal::noise);

}  // namespace
