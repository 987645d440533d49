#include "cli/plot/path_reduction.h"

#include <algorithm>
#include <cmath>

namespace cli {

void PathReduction::widen(Run& run, const Run& other) {
    for (const Point& point : other.extremes) {
        if (point.x < run.extremes[0].x) run.extremes[0] = point;
        if (point.x > run.extremes[1].x) run.extremes[1] = point;
        if (point.y < run.extremes[2].y) run.extremes[2] = point;
        if (point.y > run.extremes[3].y) run.extremes[3] = point;
    }
}

void PathReduction::add(double x, double y) {
    if (!std::isfinite(x) || !std::isfinite(y)) return;
    const Point point{x, y, count_++};
    const Run run{{point, point, point, point}};
    if (filled_ == 0 && runs_.size() == maxRuns) {
        for (std::size_t i = 0; i < maxRuns / 2; ++i) {
            Run both = runs_[2 * i];
            widen(both, runs_[2 * i + 1]);
            runs_[i] = both;
        }
        runs_.resize(maxRuns / 2);
        width_ *= 2;
    }
    if (filled_ == 0)
        runs_.push_back(run);
    else
        widen(runs_.back(), run);
    if (++filled_ == width_) filled_ = 0;
}

Curve PathReduction::curve() const {
    Curve curve;
    curve.isReduced = width_ > 1;
    for (const Run& run : runs_) {
        std::array<Point, 4> points = run.extremes;
        std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) { return a.order < b.order; });
        for (std::size_t i = 0; i < points.size(); ++i)
            if (i == 0 || points[i].order != points[i - 1].order)
                curve.bands.push_back({points[i].x, points[i].y, points[i].y});
    }
    return curve;
}

}  // namespace cli
