// The Fourier transform beside others of complex double, where they are installed: FFTW with a measured plan, GSL's mixed
// radix, kissfft, and SciPy (pocketfft). An item is a transform.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/pairs.h"
#include "spectral/fft_engine.h"

#if BENCH_FFTW
#include <fftw3.h>
#endif
#if BENCH_GSL
#include <gsl/gsl_fft_complex.h>
#endif
#if BENCH_KISSFFT
#include <kissfft.hh>
#endif

namespace {

using benchmark::State;

const std::string area = "Fourier transform, complex double (ns a transform)";

// Memory as a command has it, with the alignment that the runtime gives.
double* elements(int length) {
    auto* made = static_cast<double*>(std::aligned_alloc(64, (static_cast<std::size_t>(length) * 8 + 63) / 64 * 64));
    for (int i = 0; i < length; ++i) made[i] = i * 7919 % 65536 - 32768;
    return made;
}

// Forward and back, so that the values keep their size.
void transform(State& state, int length) {
    zcmds::FftPlan forward, reverse;
    if (!zcmds::fftPlanBuild(0, length, length, length, 1, forward)) return state.SkipWithError("no such length");
    zcmds::fftPlanBuild(1, length, length, length, 1, reverse);
    double* re = elements(length);
    double* im = elements(length);
    for (auto _ : state) {
        zcmds::fftExecute(re, im, forward);
        zcmds::fftExecute(re, im, reverse);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(2 * state.iterations());
    std::free(re);
    std::free(im);
}

#if BENCH_FFTW
void fftw(State& state, int length) {
    fftw_complex* in = fftw_alloc_complex(static_cast<std::size_t>(length));
    fftw_complex* out = fftw_alloc_complex(static_cast<std::size_t>(length));
    const fftw_plan plan = fftw_plan_dft_1d(length, in, out, FFTW_FORWARD, FFTW_MEASURE);
    for (int i = 0; i < length; ++i) in[i][0] = in[i][1] = i % 100;
    for (auto _ : state) {
        fftw_execute(plan);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
    fftw_destroy_plan(plan);
    fftw_free(in);
    fftw_free(out);
}
#else
constexpr void (*fftw)(State&, int) = nullptr;
#endif

#if BENCH_GSL
void gsl(State& state, int length) {
    const auto n = static_cast<std::size_t>(length);
    std::vector<double> data(2 * n, 1.0);
    gsl_fft_complex_wavetable* table = gsl_fft_complex_wavetable_alloc(n);
    gsl_fft_complex_workspace* work = gsl_fft_complex_workspace_alloc(n);
    for (auto _ : state) {
        gsl_fft_complex_forward(data.data(), 1, n, table, work);
        gsl_fft_complex_inverse(data.data(), 1, n, table, work);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(2 * state.iterations());
    gsl_fft_complex_wavetable_free(table);
    gsl_fft_complex_workspace_free(work);
}
#else
constexpr void (*gsl)(State&, int) = nullptr;
#endif

#if BENCH_KISSFFT
void kiss(State& state, int length) {
    const auto n = static_cast<std::size_t>(length);
    const std::vector<std::complex<double>> in(n, 1.0);
    std::vector<std::complex<double>> out(n);
    kissfft<double> plan(n, false);
    for (auto _ : state) {
        plan.transform(in.data(), out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
#else
constexpr void (*kiss)(State&, int) = nullptr;
#endif

using Transform = void (*)(State&, int);

// A peer at most `limit` times as fast; one that is not installed has nothing to run.
void addPeer(const std::string& peer, Transform run, int length, double limit) {
    const std::string ours = "transform_" + std::to_string(length), theirs = peer + "_" + std::to_string(length);
    if (run != nullptr) benchmark::RegisterBenchmark(theirs.c_str(), run, length);
    bench::compare({area, ours, peer, theirs, limit});
}

[[maybe_unused]] const bool registered = [] {
    for (const int length : {256, 360, 840, 1000, 1024, 1292, 2048, 4096, 6561, 10000, 16384, 65536, 262144}) {
        const std::string name = "transform_" + std::to_string(length);
        benchmark::RegisterBenchmark(name.c_str(), transform, length);
        const bool told = length == 1000 || length == 1024 || length == 4096 || length == 16384;
        if (told) addPeer(bench::fftwPeer, fftw, length, length == 1000 ? 1.2 : 0.9);
        addPeer(bench::gslPeer, gsl, length, 1);
        if (told) addPeer(bench::kissfftPeer, kiss, length, 1);
        bench::compareWithPython(area, name, bench::scipyPeer, 1);
    }
    return true;
}();

}  // namespace
