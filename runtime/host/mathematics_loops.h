// The loops of the host's mathematics over arrays, for the files that hold a form each. Each of them is built for another
// instruction set, so that nothing here may be shared between them, nor anything of the standard library's that has code.
#pragma once

#include <cstdint>
#include <cstring>

#include "runtime/base/late_library.h"

namespace libzepl {

namespace {

constexpr LateLibrary mathematicsLibrary("the library of mathematics", "libsleef.so.3", "libsleef3");

template <class Lanes>
constexpr std::int32_t laneCount = sizeof(Lanes) / sizeof(double);

// The first `n` lanes are those in memory, the others 0.
template <class Lanes>
Lanes load(const double* from, std::int32_t n) {
    Lanes lanes{};
    std::memcpy(&lanes, from, static_cast<std::size_t>(n) * sizeof(double));
    return lanes;
}

// What is not a number has one pattern of bits, whatever the processor makes of it.
template <class Lanes>
void store(Lanes lanes, double* to, std::int32_t n) {
    const Lanes quietNaN = Lanes{} + __builtin_nan("");
    lanes = lanes == lanes ? lanes : quietNaN;
    std::memcpy(to, &lanes, static_cast<std::size_t>(n) * sizeof(double));
}

// Calls process(at, count) for every `laneCount` elements, and for the rest.
template <class Lanes, class Process>
void inLanes(std::int32_t n, Process process) {
    std::int32_t at = 0;
    for (; n - at >= laneCount<Lanes>; at += laneCount<Lanes>) process(at, laneCount<Lanes>);
    if (at < n) process(at, n - at);
}

template <class Lanes, auto function>
void unaryArray(const double* x, double* result, std::int32_t n) {
    inLanes<Lanes>(n, [=](std::int32_t at, std::int32_t count) {
        store<Lanes>(function(load<Lanes>(x + at, count)), result + at, count);
    });
}

template <class Lanes, auto function>
void binaryArray(const double* x, const double* y, double* result, std::int32_t n) {
    inLanes<Lanes>(n, [=](std::int32_t at, std::int32_t count) {
        store<Lanes>(function(load<Lanes>(x + at, count), load<Lanes>(y + at, count)), result + at, count);
    });
}

}  // namespace

}  // namespace libzepl

// What LIBZEPL_FUNCTION(name) gives, found in its library when it is called first.
#define LIBZEPL_TEXT_OF(name) #name
#define LIBZEPL_TEXT(name) LIBZEPL_TEXT_OF(name)
#define LIBZEPL_LATE(name)                                                                                         \
    [](auto... lanes) {                                                                                            \
        using Function = decltype(LIBZEPL_FUNCTION(name));                                                         \
        static auto* const function = mathematicsLibrary.function<Function>(LIBZEPL_TEXT(LIBZEPL_FUNCTION(name))); \
        return function(lanes...);                                                                                 \
    }

// The form of this name, of the functions that LIBZEPL_FUNCTION(name) gives.
#define LIBZEPL_FORM(text, Lanes)                                                                               \
    {                                                                                                           \
        .name = text, .exp = unaryArray<Lanes, LIBZEPL_LATE(exp)>, .log = unaryArray<Lanes, LIBZEPL_LATE(log)>, \
        .log10 = unaryArray<Lanes, LIBZEPL_LATE(log10)>, .cos = unaryArray<Lanes, LIBZEPL_LATE(cos)>,           \
        .sin = unaryArray<Lanes, LIBZEPL_LATE(sin)>, .tan = unaryArray<Lanes, LIBZEPL_LATE(tan)>,               \
        .atan2 = binaryArray<Lanes, LIBZEPL_LATE(atan2)>, .pow = binaryArray<Lanes, LIBZEPL_LATE(pow)>          \
    }
