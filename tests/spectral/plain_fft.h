// The transform as it is defined, stage by stage and element by element: what the engine's bits are compared with.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>

#include "spectral/fft_engine.h"

namespace zcmds::plain {

// What the plan gives, and the working values.
struct Working : FftPlan {
    std::int32_t kspan, kspnn, jc, jf, nt, nn;
    double cd, sd;
    double at[fftLargestFactor], bt[fftLargestFactor];
    double ck[fftLargestFactor], sk[fftLargestFactor];
};

struct Transform {
    double* a;
    double* b;
    Working& plan;
};

// A point on the unit circle that is turned by the stage's step; the first-order correction keeps it on the circle.
inline void advanceRotation(const Working& plan, double& c1, double& s1) {
    const double t = c1 - (plan.cd * c1 + plan.sd * s1);
    const double s = s1 + (plan.sd * c1 - plan.cd * s1);
    const double c = 2.0 - (t * t + s * s);
    c1 = c * t;
    s1 = c * s;
}

// Counts elements from 1. Returns whether the transform is finished.
inline bool radix2Stage(Transform f) {
    Working& plan = f.plan;
    double* const a = f.a - 1;
    double* const b = f.b - 1;
    const std::int32_t nt = plan.nt, nn = plan.nn, jc = plan.jc, kspan = plan.kspan /= 2;
    std::int32_t k1 = kspan + 2, kk = 1, k2;
    do {
        do {
            k2 = kk + kspan;
            const double ak = a[k2], bk = b[k2];
            a[k2] = a[kk] - ak;
            b[k2] = b[kk] - bk;
            a[kk] = a[kk] + ak;
            b[kk] = b[kk] + bk;
            kk = k2 + kspan;
        } while (kk <= nn);
        kk -= nn;
    } while (kk <= jc);
    if (kk > kspan) return true;
    do {
        double c1 = 1.0 - plan.cd, s1 = plan.sd;
        do {
            do {
                do {
                    k2 = kk + kspan;
                    const double ak = a[kk] - a[k2], bk = b[kk] - b[k2];
                    a[kk] = a[kk] + a[k2];
                    b[kk] = b[kk] + b[k2];
                    a[k2] = c1 * ak - s1 * bk;
                    b[k2] = c1 * bk + s1 * ak;
                    kk = k2 + kspan;
                } while (kk < nt);
                c1 = -c1;
                k2 = kk - nt;
                kk = k1 - k2;
            } while (kk > k2);
            kk += jc;
            advanceRotation(plan, c1, s1);
        } while (kk < k2);
        k1 += 2 * plan.stride;
        kk = (k1 - kspan) / 2 + jc;
    } while (kk <= 2 * jc);
    return false;
}

// Returns whether the transform is finished.
inline bool radix4Stage(Transform f) {
    auto [a, b, plan] = f;
    const std::int32_t nt = plan.nt, jc = plan.jc;
    plan.kspnn = plan.kspan;
    const std::int32_t kspan = plan.kspan /= 4;
    std::int32_t kk = 0;
    double c2 = 0, s2 = 0, c3 = 0, s3 = 0;
    do {
        double c1 = 1.0, s1 = 0.0;
        do {
            do {
                const std::int32_t k1 = kk + kspan, k2 = k1 + kspan, k3 = k2 + kspan;
                double akp = a[kk] + a[k2], akm = a[kk] - a[k2], ajp = a[k1] + a[k3];
                const double ajm = a[k1] - a[k3];
                a[kk] = ajp + akp;
                ajp = akp - ajp;
                double bkp = b[kk] + b[k2], bkm = b[kk] - b[k2], bjp = b[k1] + b[k3];
                const double bjm = b[k1] - b[k3];
                b[kk] = bjp + bkp;
                bjp = bkp - bjp;
                if (plan.direction == 0) {
                    akp = akm + bjm;
                    akm = akm - bjm;
                    bkp = bkm - ajm;
                    bkm = bkm + ajm;
                } else {
                    akp = akm - bjm;
                    akm = akm + bjm;
                    bkp = bkm + ajm;
                    bkm = bkm - ajm;
                }
                const bool plain = s1 == 0;
                a[k1] = plain ? akp : akp * c1 - bkp * s1;
                b[k1] = plain ? bkp : akp * s1 + bkp * c1;
                a[k2] = plain ? ajp : ajp * c2 - bjp * s2;
                b[k2] = plain ? bjp : ajp * s2 + bjp * c2;
                a[k3] = plain ? akm : akm * c3 - bkm * s3;
                b[k3] = plain ? bkm : akm * s3 + bkm * c3;
                kk = k3 + kspan;
            } while (kk < nt);
            advanceRotation(plan, c1, s1);
            c2 = c1 * c1 - s1 * s1;
            s2 = 2 * c1 * s1;
            c3 = c2 * c1 - s2 * s1;
            s3 = c2 * s1 + s2 * c1;
            kk += jc - nt;
        } while (kk < kspan);
        kk += plan.stride - kspan;
    } while (kk < jc);
    return kspan == jc;
}

inline void radix3Stage(Transform f) {
    auto [a, b, plan] = f;
    plan.kspnn = plan.kspan;
    const std::int32_t kspan = plan.kspan /= 3;
    std::int32_t kk = 0;
    do {
        const std::int32_t k1 = kk + kspan, k2 = k1 + kspan;
        double aj = a[k1] + a[k2], bj = b[k1] + b[k2];
        const double ak = a[kk] - aj * 0.5, bk = b[kk] - bj * 0.5;
        a[kk] = a[kk] + aj;
        b[kk] = b[kk] + bj;
        aj = (a[k1] - a[k2]) * plan.s120;
        bj = (b[k1] - b[k2]) * plan.s120;
        a[k1] = ak - bj;
        b[k1] = bk + aj;
        a[k2] = ak + bj;
        b[k2] = bk - aj;
        kk = k2 + kspan;
        if (kk > plan.nn)
            kk -= plan.nn;
        else
            continue;
        if (kk >= kspan) return;
    } while (true);
}

inline void radix5Stage(Transform f) {
    auto [a, b, plan] = f;
    const double c72 = plan.c72, s72 = plan.s72, c2 = c72 * c72 - s72 * s72, s2 = 2 * c72 * s72;
    plan.kspnn = plan.kspan;
    const std::int32_t kspan = plan.kspan /= 5;
    std::int32_t kk = 0;
    do {
        const std::int32_t k1 = kk + kspan, k2 = k1 + kspan, k3 = k2 + kspan, k4 = k3 + kspan;
        const double akp = a[k1] + a[k4], akm = a[k1] - a[k4], bkp = b[k1] + b[k4], bkm = b[k1] - b[k4];
        const double ajp = a[k2] + a[k3], ajm = a[k2] - a[k3], bjp = b[k2] + b[k3], bjm = b[k2] - b[k3];
        const double aa = a[kk], bb = b[kk];
        a[kk] = aa + akp + ajp;
        b[kk] = bb + bkp + bjp;
        double ak = akp * c72 + ajp * c2 + aa, bk = bkp * c72 + bjp * c2 + bb;
        double aj = akm * s72 + ajm * s2, bj = bkm * s72 + bjm * s2;
        a[k1] = ak - bj;
        a[k4] = ak + bj;
        b[k1] = bk + aj;
        b[k4] = bk - aj;
        ak = akp * c2 + ajp * c72 + aa;
        bk = bkp * c2 + bjp * c72 + bb;
        aj = akm * s2 - ajm * s72;
        bj = bkm * s2 - bjm * s72;
        a[k2] = ak - bj;
        a[k3] = ak + bj;
        b[k2] = bk + aj;
        b[k3] = bk - aj;
        kk = k4 + kspan;
        if (kk + 1 >= plan.nn)
            kk -= plan.nn;
        else
            continue;
        if (kk >= kspan) return;
    } while (true);
}

// Only the first angle's cosine and sine are calculated; the others follow by turning, and the upper half by mirroring.
inline void fillOddTables(Working& plan, std::int32_t factor) {
    if (factor == plan.jf) return;
    plan.jf = factor;
    const double angle = plan.rad / factor, c = std::cos(angle), s = std::sin(angle);
    double* const ck = plan.ck;
    double* const sk = plan.sk;
    std::int32_t j = 0, k = factor - 1;
    ck[k] = 1.0;
    sk[k] = 0.0;
    do {
        ck[j] = c * ck[k] + s * sk[k];
        sk[j] = s * ck[k] - c * sk[k];
        --k;
        ck[k] = ck[j];
        sk[k] = -sk[j];
        ++j;
    } while (j < k);
}

// The sums and differences of the elements that lie opposite to each other, and the first output.
inline void foldOdd(Transform f, std::int32_t kk) {
    auto [a, b, plan] = f;
    double aa = a[kk], bb = b[kk];
    std::int32_t k1 = kk + plan.kspnn, k2 = kk + plan.kspan, p = 0;
    do {
        k1 -= plan.kspan;
        plan.at[p] = a[k1] + a[k2];
        aa = aa + plan.at[p];
        plan.bt[p] = b[k2] + b[k1];
        bb = bb + plan.bt[p];
        plan.at[p + 1] = a[k2] - a[k1];
        plan.bt[p + 1] = b[k2] - b[k1];
        k2 += plan.kspan;
        p += 2;
    } while (k2 < k1);
    a[kk] = aa;
    b[kk] = bb;
}

inline void oddStage(Transform f, std::int32_t factor) {
    auto [a, b, plan] = f;
    plan.kspnn = plan.kspan;
    plan.kspan /= factor;
    fillOddTables(plan, factor);
    std::int32_t kk = 0;
    for (;;) {
        const double ak0 = a[kk], bk0 = b[kk];
        foldOdd(f, kk);
        std::int32_t j = 0, k1 = kk + plan.kspnn, k2 = kk;
        do {
            double aa = ak0, bb = bk0, aj = 0, bj = 0;
            std::int32_t angle = j;
            for (std::int32_t p = 0; p < factor - 1; p += 2) {
                aa = aa + plan.ck[angle] * plan.at[p];
                bb = bb + plan.ck[angle] * plan.bt[p];
                aj = aj + plan.sk[angle] * plan.at[p + 1];
                bj = bj + plan.sk[angle] * plan.bt[p + 1];
                angle += j + 1;
                if (angle >= factor) angle -= factor;
            }
            k2 += plan.kspan;
            k1 -= plan.kspan;
            ++j;
            a[k2] = aa - bj;
            b[k2] = bb + aj;
            a[k1] = aa + bj;
            b[k1] = bb - aj;
        } while (j + 1 < factor - j);
        kk += plan.kspnn;
        if (kk <= plan.nn) continue;
        kk -= plan.nn;
        if (kk >= plan.kspan) return;
    }
}

inline void rotatePass(Transform f) {
    auto [a, b, plan] = f;
    const std::int32_t jc = plan.jc, kspan = plan.kspan, kspnn = plan.kspnn;
    std::int32_t kk = jc;
    do {
        double c2 = 1.0 - plan.cd, s1 = plan.sd;
        do {
            const double c1 = c2;
            double s2 = s1;
            kk += kspan;
            do {
                do {
                    const double ak = a[kk];
                    a[kk] = c2 * ak - s2 * b[kk];
                    b[kk] = s2 * ak + c2 * b[kk];
                    kk += kspnn;
                } while (kk < plan.nt);
                kk += kspan - plan.nt;
                const double t = s2 * s1;
                s2 = s2 * c1 + s1 * c2;
                c2 = c2 * c1 - t;
            } while (kk < kspnn);
            kk += jc - kspnn;
            c2 = c1;
            advanceRotation(plan, c2, s1);
        } while (kk < kspan);
        kk += plan.stride - kspan + jc;
    } while (kk < 2 * jc);
}

// Elements whose square digits mirror each other change places.
inline void permuteSquares(Transform f) {
    const std::int32_t* spans = f.plan.spans;
    const std::int32_t ns = f.plan.ns, stride = f.plan.stride, kspan = spans[1];
    double* const a = f.a - 1;
    double* const b = f.b - 1;
    std::int32_t k2 = kspan + 1, kk = f.plan.jc + 1, j = 1;
    for (;;) {
        do {
            std::swap(a[kk], a[k2]);
            std::swap(b[kk], b[k2]);
            k2 += kspan;
            kk += stride;
        } while (k2 < ns);
        bool behind = false;
        do {
            do {
                k2 -= spans[j - 1];
                ++j;
                k2 += spans[j];
            } while (k2 > spans[j - 1]);
            j = 1;
            do {
                behind = kk < k2;
                if (behind) break;
                k2 += kspan;
                kk += stride;
            } while (k2 < ns);
            if (kk >= ns) {
                f.plan.jc = spans[f.plan.squareCount + 1];
                return;
            }
        } while (!behind);
    }
}

inline void permuteCore(Transform f) {
    const std::int32_t jc = f.plan.jc, block = f.plan.spans[f.plan.squareCount];
    const std::int32_t* next = f.plan.permutation;
    const auto at = [=](std::int32_t k, std::int32_t offset) { return static_cast<std::int64_t>(k) * jc + offset; };
    for (std::int32_t start = 0; start < f.plan.nt; start += block) {
        for (std::int32_t o = start; o < start + jc; ++o) {
            for (std::int32_t k = f.plan.permutationTop; k >= 1; --k) {
                if (next[k] < 0) continue;
                const double ak = f.a[at(k, o)], bk = f.b[at(k, o)];
                std::int32_t vacant = k;
                for (std::int32_t v = next[k]; v != k; v = -next[v]) {
                    f.a[at(vacant, o)] = f.a[at(v, o)];
                    f.b[at(vacant, o)] = f.b[at(v, o)];
                    vacant = v;
                }
                f.a[at(vacant, o)] = ak;
                f.b[at(vacant, o)] = bk;
            }
        }
    }
}

// Returns whether the transform is finished.
inline bool runStage(Transform f, std::int32_t i) {
    const std::int32_t factor = f.plan.factors[i];
    const double x = f.plan.halfAngle / static_cast<double>(f.plan.kspan), sine = std::sin(x);
    f.plan.cd = 2 * sine * sine;
    f.plan.sd = std::sin(2 * x);
    switch (factor) {
        case 2:
            return radix2Stage(f);
        case 4:
            return radix4Stage(f);
        case 3:
            radix3Stage(f);
            break;
        case 5:
            radix5Stage(f);
            break;
        default:
            oddStage(f, factor);
    }
    if (i + 1 < f.plan.factorCount) rotatePass(f);
    return false;
}

inline void plainFft(double* a, double* b, const FftPlan& built) {
    Working plan{built};
    plan.nt = plan.total * plan.stride;
    plan.nn = plan.nt - plan.stride;
    const Transform f{a, b, plan};
    plan.kspan = plan.ns;
    plan.jc = plan.ns / plan.length;
    plan.jf = 0;
    for (std::int32_t i = 0; i < plan.factorCount; ++i)
        if (runStage(f, i)) break;
    if (plan.squareCount > 0) permuteSquares(f);
    if (plan.freeCount > 1) permuteCore(f);
    if (plan.direction != 0) return;
    const double scale = 1.0 / static_cast<double>(plan.length);
    for (std::int32_t i = 0; i < plan.total; ++i) {
        a[i] = a[i] * scale;
        b[i] = scale * b[i];
    }
}

}  // namespace zcmds::plain
