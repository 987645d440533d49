// Very many samples as the minima and maxima of as many columns as a picture has, in little memory, as they come.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "cli/plot/picture.h"

namespace cli {

// Samples are gathered in buckets of equally many. Where there are too many buckets, each two become one.
class Reduction {
 public:
    static constexpr std::size_t maxBuckets = 16384;  // even

    // What is not finite shows nothing, but takes its place.
    void add(double x, double y) {
        if (filled_ == 0) buckets_.push_back({x, x, y, y, false});
        Bucket& last = buckets_.back();
        last.lastX = x;
        if (std::isfinite(y) && std::isfinite(x)) {
            if (!last.holds) last.low = last.high = y;
            last.low = y < last.low ? y : last.low;
            last.high = y > last.high ? y : last.high;
            last.holds = true;
        }
        if (++filled_ == width_) closeBucket();
    }

    // The samples themselves where they are at most twice as many as the columns; else their bands.
    Curve curve(std::size_t columns) const;

 private:
    struct Bucket {
        double firstX, lastX, low, high;
        bool holds;  // a sample that can be shown
    };

    static Bucket merged(const Bucket& a, const Bucket& b);
    void closeBucket();

    std::vector<Bucket> buckets_;
    std::size_t width_ = 1;   // samples to a bucket
    std::size_t filled_ = 0;  // of the last bucket; 0 where it is full
};

}  // namespace cli
