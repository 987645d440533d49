// A curve of one signal over another, in little memory.
#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "cli/plot/picture.h"

namespace cli {

// Keeps all points while they are few, then of runs of equally many consecutive ones those furthest left, right, down and up.
class PathReduction {
 public:
    static constexpr std::size_t maxRuns = 2048;  // even

    void add(double x, double y);
    Curve curve() const;

 private:
    struct Point {
        double x, y;
        std::size_t order;
    };
    struct Run {
        std::array<Point, 4> extremes;
    };

    static void widen(Run& run, const Run& other);

    std::vector<Run> runs_;
    std::size_t width_ = 1;   // points to a run
    std::size_t filled_ = 0;  // of the last run; 0 where it is full
    std::size_t count_ = 0;
};

}  // namespace cli
