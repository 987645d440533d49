// The spectral commands from a source in memory to a sink in memory, beside the same work in plain loops: FFT as the
// windowed magnitude with FFTW's transform, and DFT with its recurrences one after the other.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "bench/commands.h"
#include "bench/pairs.h"

#if BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

using bench::samples, bench::recording;

const std::string area = "Spectral commands, int16 (ns a sample)";

// Runs `command (given..., source, result)` over the recording, once an iteration; an item is a sample of the source.
template <class Given>
void runOn(benchmark::State& state, const char* command, Given given) {
    using namespace libzepl;
    const std::vector<std::int16_t>& source = recording<std::int16_t>();
    for (auto _ : state) {
        Session session(bench::library());
        const PipeId in = session.addPipe({.name = "in", .type = ElementType::int16});
        const PipeId out = session.addPipe({.name = "out", .type = ElementType::int16});
        session.feedMemory(in, source.data(), source.size());
        session.collect(out, {}, samples);
        TaskSettings task{.command = command, .arguments = given(session)};
        task.arguments.push_back(session.use(in));
        task.arguments.push_back(session.use(out));
        session.addTask(std::move(task));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

void magnitudeCommand(benchmark::State& state) {
    runOn(state, "FFT", [](const libzepl::Session&) {
        return std::vector{libzepl::int16Constant(5), libzepl::int16Constant(10), libzepl::int16Constant(1)};
    });
}
BENCHMARK(magnitudeCommand)->Name("FFT_amplitudes_1024");

#if BENCH_FFTW

constexpr std::size_t blockSize = 1024;

// von Hann's window, magnitude with the negative frequencies folded in, and FFTW's fastest complex or real transform.
class FftwMagnitude {
 public:
    explicit FftwMagnitude(bool real) : real_(real) {
        for (std::size_t i = 0; i < blockSize; ++i)
            window_[i] = 0.5 - 0.5 * std::cos(6.283185307179586 * static_cast<double>(i) / blockSize);
        const int n = static_cast<int>(blockSize);
        plan_ = real ? fftw_plan_dft_r2c_1d(n, &data_[0][0], spectrum_, FFTW_MEASURE)
                     : fftw_plan_dft_1d(n, data_, spectrum_, FFTW_FORWARD, FFTW_MEASURE);
    }
    FftwMagnitude(const FftwMagnitude&) = delete;
    FftwMagnitude& operator=(const FftwMagnitude&) = delete;
    ~FftwMagnitude() {
        fftw_destroy_plan(plan_);
        fftw_free(data_);
        fftw_free(spectrum_);
    }

    void run(const std::int16_t* source, std::int16_t* result) {
        double* widened = &data_[0][0];
        for (std::size_t i = 0; i < blockSize; ++i) {
            const double x = source[i] * window_[i];
            if (real_) {
                widened[i] = x;
            } else {
                widened[2 * i] = x;
                widened[2 * i + 1] = 0;
            }
        }
        fftw_execute(plan_);
        for (std::size_t i = 0; i < blockSize / 2; ++i) {
            const double re = spectrum_[i][0], im = spectrum_[i][1];
            const double magnitude = std::sqrt((re * re + im * im) * (i == 0 ? 1.0 : 2.0)) * (1.0 / blockSize);
            result[i] = static_cast<std::int16_t>(std::min(magnitude, 32767.0));
        }
    }

 private:
    bool real_;
    fftw_complex* data_ = fftw_alloc_complex(blockSize);
    fftw_complex* spectrum_ = fftw_alloc_complex(blockSize);
    double window_[blockSize];
    fftw_plan plan_;
};

void magnitudeFftw(benchmark::State& state, bool real) {
    const std::vector<std::int16_t>& source = recording<std::int16_t>();
    FftwMagnitude magnitude(real);
    for (auto _ : state) {
        auto* result = static_cast<std::int16_t*>(std::malloc(samples));
        for (std::size_t at = 0; at < samples; at += blockSize) magnitude.run(source.data() + at, result + at / 2);
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}
BENCHMARK_CAPTURE(magnitudeFftw, complex, false)->Name("magnitudeFftwComplex");
BENCHMARK_CAPTURE(magnitudeFftw, real, true)->Name("magnitudeFftwReal");

#endif

void dftCommand(benchmark::State& state, std::int16_t terms) {
    runOn(state, "DFT", [&](libzepl::Session& session) {
        std::vector<std::int16_t> selected(static_cast<std::size_t>(terms));
        std::iota(selected.begin(), selected.end(), std::int16_t{1});
        std::vector<std::byte> bytes(selected.size() * 2);
        std::memcpy(bytes.data(), selected.data(), bytes.size());
        const libzepl::VectorId vector = session.addVector("selected", libzepl::ElementType::int16, std::move(bytes));
        return std::vector{libzepl::int16Constant(5), libzepl::int16Constant(1000), libzepl::int16Constant(2),
                           session.use(vector)};
    });
}
BENCHMARK_CAPTURE(dftCommand, 4, 4)->Name("DFT_4_terms");
BENCHMARK_CAPTURE(dftCommand, 64, 64)->Name("DFT_64_terms");

struct Term {
    double coeff, s1, s2;
};

// The recurrences as they are told: all terms of a sample, then the next sample.
void dftPlain(benchmark::State& state, std::size_t count) {
    constexpr std::size_t length = 1000;
    const std::vector<std::int16_t>& source = recording<std::int16_t>();
    std::vector<float> window(length);
    std::vector<Term> terms(count);
    const auto angle = [](std::size_t i) { return 6.283185307179586 * static_cast<double>(i) / length; };
    for (std::size_t i = 0; i < length; ++i) window[i] = static_cast<float>(0.5 - 0.5 * std::cos(angle(i)));
    for (std::size_t k = 0; k < count; ++k) terms[k].coeff = 2 * std::cos(angle(k + 1));
    std::vector<std::int16_t> result(samples);
    for (auto _ : state) {
        std::int16_t* next = result.data();
        for (std::size_t at = 0; at + length <= samples; at += length) {
            for (Term& term : terms) term.s1 = term.s2 = 0;
            for (std::size_t i = 0; i < length; ++i) {
                const double y = static_cast<double>(window[i]) * source[at + i];
                for (Term& term : terms) {
                    const double v = term.coeff * term.s1 + y - term.s2;
                    term.s2 = term.s1;
                    term.s1 = v;
                }
            }
            for (const Term& term : terms) {
                const double squared = term.s2 * term.s2 + term.s1 * term.s1 - term.s2 * term.s1 * term.coeff;
                *next++ = static_cast<std::int16_t>(std::sqrt(squared) / length);
            }
        }
        benchmark::DoNotOptimize(result.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}
BENCHMARK_CAPTURE(dftPlain, 4, 4)->Name("dftPlain4");
BENCHMARK_CAPTURE(dftPlain, 64, 64)->Name("dftPlain64");

const bool added =
    bench::compare({area, "FFT_amplitudes_1024", bench::fftwPeer, "magnitudeFftwComplex", 1.2}) &&
    bench::compare({area, "FFT_amplitudes_1024", bench::fftwPeer + ", real", "magnitudeFftwReal", 1.6}) &&
    bench::compare({area, "DFT_4_terms", bench::plainLoop, "dftPlain4", 0.6}) &&
    bench::compare({area, "DFT_64_terms", bench::plainLoop, "dftPlain64", 0.3});

}  // namespace
