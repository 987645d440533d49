// FIRLOWPASS from a source in memory to a sink in memory, beside a dot product for each output and a filter object for each
// channel, over the same pieces of the same memory, and SciPy's upfirdn on all of it.

#include <benchmark/benchmark.h>

#if BENCH_VOLK
#include <volk/volk.h>
#endif
#if BENCH_LIQUID
#include <liquid/liquid.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using bench::samples, bench::pieceSize, bench::recording;

const std::string area = "FIR filters, channels x taps by decimation (ns a sample)";

struct Case {
    std::int32_t taps, decimation;
};
constexpr Case cases[] = {{39, 1}, {129, 5}, {309, 12}};

template <class Element>
void firlowpass(benchmark::State& state, Case filter, std::int32_t channels) {
    bench::runCommand<Element>(state, "FIRLOWPASS",
                               {libzepl::int16Constant(static_cast<std::int16_t>(channels)),
                                libzepl::int16Constant(static_cast<std::int16_t>(filter.decimation))});
}

#if BENCH_VOLK || BENCH_LIQUID

template <class Element>
Element stored(float x) {
    if constexpr (std::is_integral_v<Element>)
        return static_cast<Element>(std::clamp(x, -32768.0F, 32767.0F));
    else
        return x;
}

// One channel of the stream: what a peer filters, in float as they all do.
class Channel {
 public:
    Channel(Case filter) : filter_(filter), history_(static_cast<std::size_t>(filter.taps) + pieceSize + 64) {}

    // Where the next samples of the piece go.
    float* tail() { return history_.data() + held_; }

 protected:
    Case filter_;
    std::vector<float> history_;
    std::size_t held_ = 0;
};

// Runs `Peer`, one for each channel, over the recording and gives the outputs the shape of the command's.
template <class Element, class Peer>
void runPeer(benchmark::State& state, Case filter, std::int32_t channelCount) {
    const std::vector<Element>& source = recording<Element>();
    const auto channels = static_cast<std::size_t>(channelCount), frames = pieceSize / channels;
    for (auto _ : state) {
        std::vector<std::unique_ptr<Peer>> peers;
        for (std::size_t c = 0; c < channels; ++c) peers.push_back(std::make_unique<Peer>(filter));
        // New memory each time, as a session has it.
        auto* result = static_cast<Element*>(std::malloc((samples + pieceSize) * sizeof(Element)));
        std::vector<float> made(frames);
        std::size_t written = 0;
        for (std::size_t at = 0; at < samples; at += pieceSize) {
            std::size_t outputs = 0;
            for (std::size_t c = 0; c < channels; ++c) {
                float* to = peers[c]->tail();
                for (std::size_t i = 0; i < frames; ++i) to[i] = static_cast<float>(source[at + i * channels + c]);
                outputs = peers[c]->filter(frames, made.data());
                for (std::size_t i = 0; i < outputs; ++i) result[written + i * channels + c] = stored<Element>(made[i]);
            }
            written += outputs * channels;
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

std::vector<float> someTaps(Case filter) {
    return std::vector<float>(static_cast<std::size_t>(filter.taps), 1.0F / static_cast<float>(filter.taps));
}

#endif

#if BENCH_VOLK

class VolkChannel : public Channel {
 public:
    VolkChannel(Case filter) : Channel(filter), taps_(someTaps(filter)) {}

    std::size_t filter(std::size_t added, float* to) {
        held_ += added;
        std::size_t start = 0, outputs = 0;
        for (; start + taps_.size() <= held_; start += static_cast<std::size_t>(filter_.decimation))
            volk_32f_x2_dot_prod_32f(to + outputs++, history_.data() + start, taps_.data(),
                                     static_cast<unsigned>(taps_.size()));
        std::memmove(history_.data(), history_.data() + start, (held_ - start) * sizeof(float));
        held_ -= start;
        return outputs;
    }

 private:
    std::vector<float> taps_;
};

#endif

#if BENCH_LIQUID

class LiquidChannel : public Channel {
 public:
    LiquidChannel(Case filter) : Channel(filter) {
        std::vector<float> taps = someTaps(filter);
        const auto length = static_cast<unsigned>(taps.size());
        if (filter.decimation == 1)
            plain_ = firfilt_rrrf_create(taps.data(), length);
        else
            decimating_ = firdecim_rrrf_create(static_cast<unsigned>(filter.decimation), taps.data(), length);
    }
    ~LiquidChannel() {
        if (plain_ != nullptr) firfilt_rrrf_destroy(plain_);
        if (decimating_ != nullptr) firdecim_rrrf_destroy(decimating_);
    }
    LiquidChannel(const LiquidChannel&) = delete;
    LiquidChannel& operator=(const LiquidChannel&) = delete;

    std::size_t filter(std::size_t added, float* to) {
        held_ += added;
        const std::size_t step = static_cast<std::size_t>(filter_.decimation), outputs = held_ / step;
        if (plain_ != nullptr)
            firfilt_rrrf_execute_block(plain_, history_.data(), static_cast<unsigned>(outputs), to);
        else
            firdecim_rrrf_execute_block(decimating_, history_.data(), static_cast<unsigned>(outputs), to);
        held_ -= outputs * step;
        std::memmove(history_.data(), history_.data() + outputs * step, held_ * sizeof(float));
        return outputs;
    }

 private:
    firfilt_rrrf plain_ = nullptr;
    firdecim_rrrf decimating_ = nullptr;
};

#endif

// What the ratio to VOLK's time is to be at most.
template <class Element>
double volkLimit(Case filter, std::int32_t channels) {
    if (filter.decimation == 1) return 0.2;
    if (channels > 1 || !std::is_integral_v<Element>) return 0.6;
    return filter.decimation == 5 ? 0.4 : 0.5;
}

template <class Element>
void registerCase(Case filter, std::int32_t channels, const std::string& type) {
    const std::string suffix = "_" + type + "_" + std::to_string(channels) + "x" + std::to_string(filter.taps) + "by" +
                               std::to_string(filter.decimation),
                      name = "FIRLOWPASS" + suffix;
    benchmark::RegisterBenchmark(name.c_str(), firlowpass<Element>, filter, channels);
#if BENCH_VOLK
    benchmark::RegisterBenchmark(("volk" + suffix).c_str(), runPeer<Element, VolkChannel>, filter, channels);
#endif
#if BENCH_LIQUID
    benchmark::RegisterBenchmark(("liquid" + suffix).c_str(), runPeer<Element, LiquidChannel>, filter, channels);
#endif
    bench::compare({area, name, bench::volkPeer, "volk" + suffix, volkLimit<Element>(filter, channels)});
    bench::compare({area, name, bench::liquidPeer, "liquid" + suffix, 0.2});
    bench::compareWithPython(area, name, bench::scipyPeer);
}

const bool registered = [] {
    for (const Case filter : cases) {
        for (const std::int32_t channels : {1, 8}) {
            registerCase<std::int16_t>(filter, channels, "int16");
            registerCase<float>(filter, channels, "float");
        }
    }
    return true;
}();

}  // namespace
