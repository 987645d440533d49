// The plan: the length's factors, the spans of the stages, and the order of the square-free core.

#include <algorithm>

#include "frame/mathematics.h"
#include "spectral/fft_engine.h"
#include "spectral/fft_rotation.h"

namespace zcmds {

namespace {

void appendSquare(FftPlan& plan, std::int32_t factor) {
    plan.factors[plan.factorCount++] = factor;
    ++plan.squareCount;
}

void appendFree(FftPlan& plan, std::int32_t factor) {
    plan.factors[plan.factorCount++] = factor;
    ++plan.freeCount;
}

bool isWholeCore(std::int32_t m) { return m >= 2 && m <= 4; }

// Takes the odd squares out of m, smallest first. False: one is of a prime that no stage can take.
bool takeOddSquares(FftPlan& plan, std::int32_t& m) {
    std::int32_t j = 3;
    do {
        for (; m % (j * j) == 0; m /= j * j) {
            if (j > fftMaxFactor) return false;
            appendSquare(plan, j);
        }
        j += 2;
    } while (j * j <= m);
    return true;
}

// Takes the factors that occur once; each is tried once. False: something is left, or the core outgrows its table.
bool takeFreeFactors(FftPlan& plan, std::int32_t m) {
    if (m % 4 == 0) {
        appendSquare(plan, 2);
        m /= 4;
    }
    std::int32_t product = 1;
    for (std::int32_t j = 2; j <= fftMaxFactor && j <= m; j += j == 2 ? 1 : 2) {
        if (m % j != 0) continue;
        appendFree(plan, j);
        m /= j;
        product *= j;
    }
    return m == 1 && product <= fftMaxCore;
}

// The squares, largest power of two first, then the core.
bool takeFactors(FftPlan& plan) {
    std::int32_t m = plan.length;
    for (; m % 16 == 0; m /= 16) appendSquare(plan, 4);
    if (m >= 9 && !takeOddSquares(plan, m)) return false;
    if (!isWholeCore(m)) return takeFreeFactors(plan, m);
    appendFree(plan, m);
    return true;
}

bool factorLength(FftPlan& plan) {
    plan.factorCount = plan.squareCount = plan.freeCount = 0;
    if (!takeFactors(plan)) return false;
    for (std::int32_t i = plan.squareCount; i > 0; --i) plan.factors[plan.factorCount++] = plan.factors[i - 1];
    return true;
}

void setAngles(FftPlan& plan) {
    const double sign = plan.direction == 0 ? -1.0 : 1.0;
    plan.rad = sign * 6.283185307179586;
    plan.c72 = 0.3090169943749474;
    plan.s72 = sign * 0.9510565162951535;
    plan.s120 = sign * 0.8660254037844386;
    plan.halfAngle = static_cast<double>(plan.ns) * plan.rad / static_cast<double>(plan.total) * 0.5;
}

void fillFreeProducts(FftPlan& plan) {
    plan.freeProducts[plan.freeCount] = 1;
    for (std::int32_t i = plan.freeCount - 1; i >= 0; --i)
        plan.freeProducts[i] = plan.freeProducts[i + 1] * plan.factors[plan.squareCount + i];
}

// A core of several factors counts as one step.
void fillSpans(FftPlan& plan) {
    plan.spans[0] = plan.ns;
    if (plan.squareCount == 0) return;
    std::int32_t entry = 0, position = 0;
    const auto append = [&](std::int32_t divisor) {
        plan.spans[entry + 1] = plan.spans[entry] / divisor;
        ++entry;
    };
    while (position < plan.squareCount) append(plan.factors[position++]);
    if (plan.freeCount > 1) {
        append(plan.freeProducts[0]);
        position += plan.freeCount;
    }
    while (position < plan.factorCount) append(plan.factors[position++]);
}

// Counts in the core's mixed radix with the digits reversed.
void fillReversal(FftPlan& plan) {
    const std::int32_t* products = plan.freeProducts;
    plan.permutation[0] = 0;
    std::int32_t reversed = 0;
    for (std::int32_t j = 1; j < products[0]; ++j) {
        reversed += products[1];
        std::int32_t low = products[0], high = products[1], digit = 1;
        while (reversed >= low) {
            ++digit;
            reversed = reversed - low + products[digit];
            low = high;
            high = products[digit];
        }
        plan.permutation[j] = reversed;
    }
}

void markCycles(FftPlan& plan) {
    std::int32_t* next = plan.permutation;
    for (std::int32_t j = 1; j < plan.freeProducts[0]; ++j) {
        if (next[j] < 0) continue;
        plan.permutationTop = next[j];
        if (next[j] == j) {
            next[j] = -j;
            continue;
        }
        std::int32_t member = next[j];
        do {
            const std::int32_t k = member;
            member = next[k];
            next[k] = -member;
        } while (member != j);
    }
}

// The order in which the core's elements move, so that no move waits for the table.
void listCycles(FftPlan& plan) {
    const std::int32_t* next = plan.permutation;
    std::int16_t* to = plan.cycles;
    for (std::int32_t k = plan.permutationTop; k >= 1; --k) {
        if (next[k] < 0) continue;
        std::int16_t* const length = to++;
        *to++ = static_cast<std::int16_t>(k);
        for (std::int32_t v = next[k]; v != k; v = -next[v]) *to++ = static_cast<std::int16_t>(v);
        *length = static_cast<std::int16_t>(to - length - 1);
    }
    *to = 0;
}

// Calls visit(j, cosine, sine) for the twiddles 1 to last of the stage.
template <class Visit>
void forEachTwiddle(const FftTwiddles& twiddles, std::int32_t last, Visit visit) {
    double c = twiddles.c1, s = twiddles.s1;
    for (std::int32_t j = 1; j <= last; ++j) {
        visit(j, c, s);
        nextTwiddle(twiddles, c, s);
    }
}

// Twiddle 1 is the step itself, except with factor 4, which gets it corrected like all others.
void setStep(FftTwiddles& twiddles, double halfAngle, std::int32_t factor) {
    const double x = halfAngle / (static_cast<double>(twiddles.span) * factor), sine = mathematics.sin(x);
    twiddles.cd = 2 * sine * sine;
    twiddles.sd = mathematics.sin(2 * x);
    twiddles.c1 = 1.0 - twiddles.cd;
    twiddles.s1 = twiddles.sd;
    if (factor != 4) return;
    twiddles.c1 = 1.0;
    twiddles.s1 = 0.0;
    nextTwiddle(twiddles, twiddles.c1, twiddles.s1);
}

// A factor of 2 has twiddles up to the middle of the span; those beyond are their mirror images, with the cosine negated.
void tabulateTwiddles(const FftTwiddles& twiddles, std::int32_t factor, double* c, double* s) {
    const bool mirrored = factor == 2;
    c[0] = 1.0;
    s[0] = 0.0;
    forEachTwiddle(twiddles, mirrored ? twiddles.span / 2 : twiddles.span - 1,
                   [&](std::int32_t j, double cosine, double sine) {
                       if (mirrored) {
                           c[twiddles.span - j] = -cosine;
                           s[twiddles.span - j] = sine;
                       }
                       c[j] = cosine;
                       s[j] = sine;
                   });
}

// Stores the points from which eight runs continue. Long runs begin 16 elements further apart than an eighth of the stage:
// at powers of two apart, what they work on would fall into the same few sets of the cache.
void storeRunStarts(FftTwiddles& twiddles, std::int32_t factor) {
    twiddles.count =
        factor == 2 ? (twiddles.span % 16 == 0 ? twiddles.span / 2 : twiddles.span / 2 + 1) : twiddles.span;
    twiddles.interval = (twiddles.count + 63) / 64 * 8;
    if (twiddles.interval >= 128) twiddles.interval += 16;
    std::fill_n(twiddles.c, 8, 1.0);
    std::fill_n(twiddles.s, 8, 0.0);
    forEachTwiddle(twiddles, twiddles.count - 1, [&](std::int32_t j, double cosine, double sine) {
        if (j % twiddles.interval != 0) return;
        twiddles.c[j / twiddles.interval] = cosine;
        twiddles.s[j / twiddles.interval] = sine;
    });
}

void fillTwiddles(FftPlan& plan) {
    std::int32_t span = plan.ns, tabulated = 0;
    for (std::int32_t i = 0; i < plan.factorCount; ++i) {
        FftTwiddles& twiddles = plan.twiddles[i];
        twiddles.span = span /= plan.factors[i];
        setStep(twiddles, plan.halfAngle, plan.factors[i]);
        if (span > fftMaxTableSpan) {
            storeRunStarts(twiddles, plan.factors[i]);
            continue;
        }
        twiddles.tableStart = tabulated;
        tabulated += span;
        tabulateTwiddles(twiddles, plan.factors[i], plan.tableC + twiddles.tableStart,
                         plan.tableS + twiddles.tableStart);
    }
}

}  // namespace

bool fftPlanBuild(std::int32_t direction, std::int32_t total, std::int32_t length, std::int32_t span,
                  std::int32_t stride, FftPlan& plan) {
    constexpr std::int32_t maxLength = 1 << 24;
    if (length < 1 || total > maxLength || total != length || span != length || stride != 1) return false;
    plan.direction = direction;
    plan.total = total;
    plan.length = length;
    plan.span = span;
    plan.stride = stride;
    plan.ns = span * stride;
    setAngles(plan);
    if (!factorLength(plan)) return false;
    fillFreeProducts(plan);
    fillSpans(plan);
    fillTwiddles(plan);
    plan.jf = 0;
    plan.permutationTop = 0;
    if (plan.freeCount < 1) return true;
    fillReversal(plan);
    markCycles(plan);
    listCycles(plan);
    return true;
}

}  // namespace zcmds
