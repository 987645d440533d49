// The transform as it is defined, one butterfly after the other: what the engine's bits are compared with. Of the plan it
// takes the factors only.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/mathematics.h"
#include "spectral/fft_engine.h"

namespace zcmds::plain {

struct Point {
    double re = 0, im = 0;
};

inline Point operator+(Point x, Point y) { return {x.re + y.re, x.im + y.im}; }
inline Point operator-(Point x, Point y) { return {x.re - y.re, x.im - y.im}; }
inline Point operator*(double r, Point x) { return {r * x.re, r * x.im}; }
inline Point timesI(Point x) { return {-x.im, x.re}; }

// The turns of the offsets below `span` of a stage. The recurrence begins with turn 1, which only factor 4 gets from it.
inline std::vector<Point> turnsOf(std::int32_t factor, std::int32_t span, double halfAngle) {
    const double x = halfAngle / (static_cast<double>(span) * factor);
    const double cd = 2 * zepl::sin(x) * zepl::sin(x), sd = zepl::sin(2 * x);
    const auto next = [=](Point w) {
        const double t = w.re - (cd * w.re + sd * w.im), u = w.im + (sd * w.re - cd * w.im);
        return (2.0 - (t * t + u * u)) * Point{t, u};
    };
    std::vector<Point> turns(static_cast<std::size_t>(span));
    turns[0] = {1, 0};
    for (std::size_t j = 1; j < turns.size(); ++j) turns[j] = next(turns[j - 1]);
    if (factor == 4) return turns;
    for (std::size_t j = 1; j < turns.size(); ++j) turns[j] = j == 1 ? Point{1.0 - cd, sd} : next(turns[j - 1]);
    if (factor != 2) return turns;
    for (std::size_t j = turns.size() / 2 + 1; j < turns.size(); ++j)
        turns[j] = {-turns[turns.size() - j].re, turns[turns.size() - j].im};
    return turns;
}

using Points = std::vector<Point>;

inline void transform3(Points& x, double sign) {
    const double s120 = sign * 0.8660254037844386;
    const Point sum = x[1] + x[2], even = x[0] - 0.5 * sum, odd = timesI(s120 * (x[1] - x[2]));
    x = {x[0] + sum, even + odd, even - odd};
}

inline void transform4(Points& x, double sign) {
    const Point even = x[0] + x[2], difference = x[0] - x[2], odd = x[1] + x[3], turned = timesI(x[1] - x[3]);
    x = {odd + even, difference - turned, even - odd, difference + turned};
    if (sign > 0) std::swap(x[1], x[3]);
}

inline void transform5(Points& x, double sign) {
    const double c = 0.3090169943749474, s = sign * 0.9510565162951535, c2 = c * c - s * s, s2 = 2 * c * s;
    const Point outer = x[1] + x[4], inner = x[2] + x[3], outerDifference = x[1] - x[4], innerDifference = x[2] - x[3];
    const Point even1 = c * outer + c2 * inner + x[0], odd1 = timesI(s * outerDifference + s2 * innerDifference);
    const Point even2 = c2 * outer + c * inner + x[0], odd2 = timesI(s2 * outerDifference - s * innerDifference);
    x = {x[0] + outer + inner, even1 + odd1, even2 + odd2, even2 - odd2, even1 - odd1};
}

// Cosine and sine of the multiples 1 to factor of the angle, the upper half mirrored.
inline Points oddTable(std::size_t factor, double sign) {
    const double angle = sign * 6.283185307179586 / static_cast<double>(factor), c = zepl::cos(angle),
                 s = zepl::sin(angle);
    Points table(factor);
    table[factor - 1] = {1, 0};
    for (std::size_t j = 0; j < factor / 2; ++j) {
        const Point last = table[factor - 1 - j];
        table[j] = {c * last.re + s * last.im, s * last.re - c * last.im};
        table[factor - 2 - j] = {table[j].re, -table[j].im};
    }
    return table;
}

inline void transformOdd(Points& x, double sign) {
    const std::size_t factor = x.size();
    const Points table = oddTable(factor, sign);
    Points y(factor);
    y[0] = x[0];
    for (std::size_t p = 1; p <= factor / 2; ++p) y[0] = y[0] + (x[p] + x[factor - p]);
    for (std::size_t j = 1; j <= factor / 2; ++j) {
        Point even = x[0], odd;
        for (std::size_t p = 1; p <= factor / 2; ++p) {
            const Point turn = table[(j * p + factor - 1) % factor];
            even = even + turn.re * (x[p] + x[factor - p]);
            odd = odd + turn.im * (x[p] - x[factor - p]);
        }
        y[j] = even + timesI(odd);
        y[factor - j] = even - timesI(odd);
    }
    x = y;
}

inline void transformPoints(Points& x, double sign) {
    if (x.size() == 2)
        x = {x[0] + x[1], x[0] - x[1]};
    else if (x.size() > 5)
        transformOdd(x, sign);
    else
        (x.size() == 3 ? transform3 : x.size() == 4 ? transform4 : transform5)(x, sign);
}

// One butterfly at `offset` of its group; turn 0 is none.
inline void butterfly(Point* first, std::size_t span, std::size_t factor, double sign, const Point* turn) {
    Points x(factor);
    for (std::size_t p = 0; p < factor; ++p) x[p] = first[p * span];
    transformPoints(x, sign);
    Point power{};
    for (std::size_t p = 0; p < factor; ++p) {
        if (p == 1 && turn != nullptr) power = *turn;
        if (p > 1 && turn != nullptr)
            power = {power.re * turn->re - power.im * turn->im, power.im * turn->re + turn->im * power.re};
        first[p * span] = p == 0 || turn == nullptr
                              ? x[p]
                              : Point{power.re * x[p].re - power.im * x[p].im, power.im * x[p].re + power.re * x[p].im};
    }
}

// Where the result of index i belongs: its digits, most significant first in stage order, reversed.
inline std::size_t reversedDigits(std::size_t i, std::size_t length, const FftPlan& plan) {
    std::size_t reversed = 0, weight = 1;
    for (std::int32_t stage = 0; stage < plan.factorCount; ++stage) {
        const auto factor = static_cast<std::size_t>(plan.factors[stage]);
        length /= factor;
        reversed += i / length % factor * weight;
        weight *= factor;
    }
    return reversed;
}

inline void plainFft(double* a, double* b, const FftPlan& plan) {
    const auto n = static_cast<std::size_t>(plan.length);
    const double sign = plan.direction == 0 ? -1 : 1, length = static_cast<double>(plan.length);
    const double halfAngle = length * (sign * 6.283185307179586) / length * 0.5;
    Points x(n);
    for (std::size_t i = 0; i < n; ++i) x[i] = {a[i], b[i]};
    std::size_t span = n;
    for (std::int32_t stage = 0; stage < plan.factorCount; ++stage) {
        const auto factor = static_cast<std::size_t>(plan.factors[stage]), group = span;
        span /= factor;
        const Points turns = turnsOf(plan.factors[stage], static_cast<std::int32_t>(span), halfAngle);
        for (std::size_t at = 0; at < n; at += at % group == span - 1 ? group - span + 1 : 1)
            butterfly(&x[at], span, factor, sign, at % group == 0 ? nullptr : &turns[at % group]);
    }
    const double scale = plan.direction == 0 ? 1.0 / length : 1.0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t to = reversedDigits(i, n, plan);
        a[to] = scale * x[i].re;
        b[to] = scale * x[i].im;
    }
}

}  // namespace zcmds::plain
