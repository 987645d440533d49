#include "cli/plot/reduction.h"

#include <algorithm>

namespace cli {

Reduction::Bucket Reduction::merged(const Bucket& a, const Bucket& b) {
    if (!a.holds || !b.holds)
        return {a.firstX, b.lastX, a.holds ? a.low : b.low, a.holds ? a.high : b.high, a.holds || b.holds};
    return {a.firstX, b.lastX, std::min(a.low, b.low), std::max(a.high, b.high), true};
}

void Reduction::closeBucket() {
    filled_ = 0;
    if (buckets_.size() < maxBuckets) return;
    for (std::size_t i = 0; i < maxBuckets / 2; ++i) buckets_[i] = merged(buckets_[2 * i], buckets_[2 * i + 1]);
    buckets_.resize(maxBuckets / 2);
    width_ *= 2;
}

Curve Reduction::curve(std::size_t columns) const {
    Curve curve;
    const std::size_t count = buckets_.size();
    curve.isReduced = width_ > 1 || count > 2 * columns;
    const std::size_t parts = curve.isReduced ? std::min(columns, count) : count;
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t end = (part + 1) * count / parts;
        Bucket all = buckets_[part * count / parts];
        for (std::size_t i = part * count / parts + 1; i < end; ++i) all = merged(all, buckets_[i]);
        // The picture is as wide as the samples are.
        double x = all.firstX + (all.lastX - all.firstX) / 2;
        if (part == 0) x = all.firstX;
        if (part > 0 && part == parts - 1) x = all.lastX;
        if (all.holds && std::isfinite(x)) curve.bands.push_back({x, all.low, all.high});
    }
    return curve;
}

}  // namespace cli
