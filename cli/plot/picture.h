// What is drawn: curves, marks and maps of values, with their axes.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace cli {

// From `low` to `high` at `x`: one sample, or what many that share a column of the picture lie between.
struct Band {
    double x = 0;
    double low = 0, high = 0;
};

struct Curve {
    std::string name;
    std::vector<Band> bands;
    bool isReduced = false;  // a band has several samples
};

// Levels on a grid, one column of `rows` values after the other.
struct LevelMap {
    std::size_t rows = 0;
    std::vector<float> levels;
    double firstX = 0, stepX = 1;  // of the columns' middles
    double stepY = 1;              // row 0 is at 0
    std::size_t columns() const { return rows == 0 ? 0 : levels.size() / rows; }
};

struct Limits {
    double from = 0, to = 1;
};

struct Picture {
    std::string title;  // may be empty
    std::string xLabel, yLabel;
    std::vector<Curve> curves;
    std::vector<double> marks;  // events, by their x
    std::string marksName;
    bool isPath = false;  // the curves' x need not grow
    std::optional<LevelMap> map{};
    std::string mapLabel;
    Limits x, y;  // what is shown
};

// Sets what is shown by what is there, with a margin above and below the curves. `range`, where given, is that of x.
void fitLimits(Picture& picture, const std::optional<Limits>& range);

// The level that the map's colours begin at, and the highest.
Limits levelsOf(const LevelMap& map);

// Where an axis has its numbers: about `count`, at round values.
std::vector<double> ticksOf(const Limits& limits, std::size_t count);
std::string tickText(double value);

// At most `columns` marks, one of those that share a column.
std::vector<double> thinnedMarks(const Picture& picture, std::size_t columns);

}  // namespace cli
