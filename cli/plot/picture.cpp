#include "cli/plot/picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace cli {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Extent {
    double from = infinity, to = -infinity;
    void add(double value) {
        from = std::min(from, value);
        to = std::max(to, value);
    }
    // With a part of its length as margin; something to show around a single value or none.
    Limits limits(double margin) const {
        if (from > to) return {};
        const double length = to - from, room = length > 0 ? length * margin : std::max(std::fabs(from) / 10, 1e-300);
        if (length == 0 && from == 0) return {-1, 1};
        return {from - room, to + room};
    }
};

}  // namespace

void fitLimits(Picture& picture, const std::optional<Limits>& range) {
    Extent x, y;
    for (const Curve& curve : picture.curves)
        for (const Band& band : curve.bands) {
            x.add(band.x);
            y.add(band.low);
            y.add(band.high);
        }
    if (picture.curves.empty())
        for (const double mark : picture.marks) x.add(mark);
    if (picture.map && picture.map->columns() > 0) {
        const LevelMap& map = *picture.map;
        x.add(map.firstX - map.stepX / 2);
        x.add(map.firstX + map.stepX * (static_cast<double>(map.columns()) - 0.5));
        y.add(0);
        y.add(map.stepY * static_cast<double>(map.rows));
    }
    picture.x = range ? *range : x.limits(picture.isPath ? 0.05 : 0);
    picture.y = y.limits(picture.map ? 0 : 0.05);
}

Limits levelsOf(const LevelMap& map) {
    constexpr double shown = 80;  // decibels
    double highest = -infinity;
    for (const float level : map.levels)
        if (std::isfinite(level)) highest = std::max(highest, static_cast<double>(level));
    if (!std::isfinite(highest)) highest = 0;
    return {highest - shown, highest};
}

std::vector<double> ticksOf(const Limits& limits, std::size_t count) {
    const double length = limits.to - limits.from,
                 rough = length / static_cast<double>(std::max<std::size_t>(count, 1));
    if (!(rough > 0) || !std::isfinite(rough)) return {};
    const double power = std::pow(10, std::floor(std::log10(rough)));
    double step = 10 * power;
    for (const double factor : {5, 2, 1})
        if (factor * power >= rough) step = factor * power;
    std::vector<double> ticks;
    for (double n = std::ceil(limits.from / step); n * step <= limits.to && ticks.size() <= 4 * count; ++n)
        ticks.push_back(n == 0 ? 0 : n * step);
    return ticks;
}

std::string tickText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

std::vector<double> thinnedMarks(const Picture& picture, std::size_t columns) {
    std::vector<double> sorted, kept;
    for (const double mark : picture.marks)
        if (mark >= picture.x.from && mark <= picture.x.to) sorted.push_back(mark);
    std::sort(sorted.begin(), sorted.end());
    const double width = (picture.x.to - picture.x.from) / static_cast<double>(columns);
    for (const double mark : sorted)
        if (kept.empty() || mark - kept.back() >= width) kept.push_back(mark);
    return kept;
}

}  // namespace cli
