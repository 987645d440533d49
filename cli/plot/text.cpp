// Pictures in characters: a curve's dots are braille, of which a character has two columns of four; levels are blocks.

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "cli/plot/draw.h"

namespace cli {

namespace {

constexpr std::array curveColours{34, 31, 32, 35, 33, 36};                        // of the terminal
constexpr std::array levelColours{17, 18, 54, 60, 24, 30, 36, 72, 77, 149, 220};  // of its 256, dark to bright
constexpr std::size_t marginWidth = 9;                                            // numbers of the y axis
constexpr const char* styleOff = "\033[0m";

std::string styled(const std::string& text, int colour) {
    return "\033[" + std::to_string(colour) + "m" + text + styleOff;
}

std::string brailleOf(unsigned dots) {
    return {'\xE2', static_cast<char>(0xA0 + (dots >> 6)), static_cast<char>(0x80 + (dots & 63))};
}

// The columns that UTF-8 text takes, of characters that take one each.
std::size_t columnsOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// Names as they can be shown: control characters would act on the terminal, and what is too wide is cut.
std::string fitted(const std::string& text, std::size_t width) {
    std::string shown;
    std::size_t columns = 0;
    for (const char letter : text) {
        if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7F') continue;
        if ((static_cast<unsigned char>(letter) & 0xC0) != 0x80 && ++columns > width) break;
        shown += letter;
    }
    return shown;
}

std::string centred(const std::string& text, std::size_t width) {
    const std::string shown = fitted(text, width);
    return std::string((width - columnsOf(shown)) / 2, ' ') + shown;
}

struct Cell {
    unsigned dots = 0;
    int colour = 0;
};

class Canvas {
 public:
    Canvas(std::size_t columns, std::size_t rows) : columns_(columns), rows_(rows), cells_(columns * rows) {}
    std::size_t columns() const { return columns_; }
    std::size_t rows() const { return rows_; }
    const Cell& cell(std::size_t column, std::size_t row) const { return cells_[row * columns_ + column]; }

    // Dots are counted from the upper left; those outside are not seen.
    void dot(long x, long y, int colour) {
        if (x < 0 || y < 0 || x >= static_cast<long>(2 * columns_) || y >= static_cast<long>(4 * rows_)) return;
        constexpr unsigned bits[4][2] = {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
        Cell& cell = cells_[static_cast<std::size_t>(y / 4) * columns_ + static_cast<std::size_t>(x / 2)];
        cell.dots |= bits[y % 4][x % 2];
        cell.colour = colour;
    }
    void line(double x0, double y0, double x1, double y1, int colour) {
        const double steps = std::min(std::ceil(std::max({std::fabs(x1 - x0), std::fabs(y1 - y0), 1.0})), 1e5);
        for (double i = 0; i <= steps; ++i)
            dot(std::lround(x0 + (x1 - x0) * i / steps), std::lround(y0 + (y1 - y0) * i / steps), colour);
    }

 private:
    std::size_t columns_, rows_;
    std::vector<Cell> cells_;
};

// From a value to a place, 0 to `size` - 1.
struct Scale {
    Limits limits;
    double size;
    double place(double value) const { return (value - limits.from) / (limits.to - limits.from) * (size - 1); }
};

void drawCurve(Canvas& canvas, const Curve& curve, const Picture& picture, int colour) {
    const Scale x{picture.x, 2.0 * static_cast<double>(canvas.columns())};
    const Scale y{{picture.y.to, picture.y.from}, 4.0 * static_cast<double>(canvas.rows())};
    const Band* before = nullptr;
    for (const Band& band : curve.bands) {
        const double at = x.place(band.x), low = y.place(band.low), high = y.place(band.high);
        if (before != nullptr) {
            const bool rises = std::fabs(band.low - before->high) <= std::fabs(band.high - before->low);
            canvas.line(x.place(before->x), y.place(rises ? before->high : before->low), at, rises ? low : high,
                        colour);
        }
        canvas.line(at, low, at, high, colour);
        before = &band;
    }
}

// The map's level at each half of a character's height, the greatest of those that share it.
std::vector<float> sampledLevels(const LevelMap& map, std::size_t columns, std::size_t rows) {
    std::vector<float> levels(columns * rows);
    for (std::size_t column = 0; column < columns; ++column)
        for (std::size_t row = 0; row < rows; ++row) {
            float highest = -INFINITY;
            const auto part = [](std::size_t i, std::size_t of, std::size_t all) { return i * all / of; };
            const std::size_t firstX = part(column, columns, map.columns()), firstY = part(row, rows, map.rows);
            const std::size_t endX = std::max(part(column + 1, columns, map.columns()), firstX + 1);
            const std::size_t endY = std::max(part(row + 1, rows, map.rows), firstY + 1);
            for (std::size_t i = firstX; i < endX; ++i)
                for (std::size_t k = firstY; k < endY; ++k) highest = std::max(highest, map.levels[i * map.rows + k]);
            levels[column * rows + rows - 1 - row] = highest;
        }
    return levels;
}

std::vector<std::string> mapRows(const LevelMap& map, std::size_t columns, std::size_t rows, bool isStyled) {
    constexpr std::array shades{" ", "░", "▒", "▓", "█"};
    const Limits limits = levelsOf(map);
    const std::vector<float> levels = sampledLevels(map, columns, 2 * rows);
    const auto step = [&](float level, std::size_t steps) {
        const double part = (static_cast<double>(level) - limits.from) / (limits.to - limits.from);
        return part > 0 ? std::min(static_cast<std::size_t>(part * static_cast<double>(steps)), steps - 1) : 0;
    };
    std::vector<std::string> lines(rows);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t column = 0; column < columns; ++column) {
            const float upper = levels[column * 2 * rows + 2 * row], lower = levels[column * 2 * rows + 2 * row + 1];
            if (isStyled)
                lines[row] += "\033[38;5;" + std::to_string(levelColours[step(upper, levelColours.size())]) + ";48;5;" +
                              std::to_string(levelColours[step(lower, levelColours.size())]) + "m▀";
            else
                lines[row] += shades[step(std::max(upper, lower), shades.size())];
        }
        if (isStyled) lines[row] += styleOff;
    }
    return lines;
}

std::vector<std::string> canvasRows(const Canvas& canvas, bool isStyled) {
    std::vector<std::string> lines(canvas.rows());
    for (std::size_t row = 0; row < canvas.rows(); ++row)
        for (std::size_t column = 0; column < canvas.columns(); ++column) {
            const Cell& cell = canvas.cell(column, row);
            const std::string text = cell.dots == 0 ? " " : brailleOf(cell.dots);
            lines[row] += isStyled && cell.dots != 0 ? styled(text, cell.colour) : text;
        }
    return lines;
}

// A line with a sign at each event.
std::string markLine(const Picture& picture, std::size_t columns) {
    std::vector<bool> marked(columns);
    for (const double mark : thinnedMarks(picture, columns))
        marked[static_cast<std::size_t>(Scale{picture.x, static_cast<double>(columns)}.place(mark) + 0.5)] = true;
    std::string line(marginWidth + 1, ' ');
    for (const bool isMarked : marked) line += isMarked ? "▾" : " ";
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

// The numbers of the y axis, by rows.
std::vector<std::string> rowLabels(const Picture& picture, std::size_t rows) {
    std::vector<std::string> labels(rows);
    const Scale scale{{picture.y.to, picture.y.from}, 4.0 * static_cast<double>(rows)};
    for (const double tick : ticksOf(picture.y, std::max<std::size_t>(rows / 3, 3))) {
        const long row = std::lround(scale.place(tick)) / 4;
        if (row >= 0 && row < static_cast<long>(rows)) labels[static_cast<std::size_t>(row)] = tickText(tick);
    }
    return labels;
}

// The line below the picture, and its numbers.
std::string xAxis(const Picture& picture, std::size_t columns) {
    std::vector<bool> ticks(columns);
    std::string numbers;
    const Scale scale{picture.x, static_cast<double>(columns)};
    for (const double tick : ticksOf(picture.x, std::max<std::size_t>(columns / 8, 2))) {
        const std::string text = tickText(tick);
        const auto at =
            static_cast<std::size_t>(std::clamp(std::lround(scale.place(tick)), 0L, static_cast<long>(columns) - 1));
        ticks[at] = true;
        const std::size_t start = marginWidth + 1 + at - std::min(text.size() / 2, at);
        if (start < numbers.size() + (numbers.empty() ? 0 : 1) || start + text.size() > marginWidth + 1 + columns)
            continue;
        numbers.append(start - numbers.size(), ' ').append(text);
    }
    std::string line = std::string(marginWidth, ' ') + "└";
    for (const bool isTick : ticks) line += isTick ? "┬" : "─";
    return line + "\n" + numbers + "\n";
}

std::string framed(const std::vector<std::string>& rows, const Picture& picture) {
    std::string text;
    const std::vector<std::string> labels = rowLabels(picture, rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const std::string& label = labels[row];
        std::string line = std::string(marginWidth - std::min(label.size() + 1, marginWidth), ' ') + label;
        line += label.empty() ? " │" : " ┤";
        line += rows[row];
        while (line.ends_with(' ')) line.pop_back();
        text += line + "\n";
    }
    return text;
}

std::string panel(const Picture& picture, std::size_t columns, std::size_t rows, bool isStyled) {
    if (picture.map && picture.map->columns() > 0)
        return framed(mapRows(*picture.map, columns, rows, isStyled), picture);
    Canvas canvas(columns, rows);
    for (std::size_t i = 0; i < picture.curves.size(); ++i)
        drawCurve(canvas, picture.curves[i], picture, curveColours[i % curveColours.size()]);
    return framed(canvasRows(canvas, isStyled), picture);
}

std::string legend(const Picture& picture, std::size_t columns, const std::string& margin) {
    std::string text = margin;
    std::size_t used = 0;
    for (std::size_t i = 0; i < picture.curves.size(); ++i) {
        const std::string name = fitted(picture.curves[i].name, columns - 3);
        const std::size_t width = columnsOf(name) + 5;
        if (used > 0 && used + width > columns + 2) {
            text += "\n" + margin;
            used = 0;
        }
        text += (used > 0 ? "  " : "") + styled("⠒⠒ " + name, curveColours[i % curveColours.size()]);
        used += width;
    }
    return text + "\n";
}

std::size_t plotColumns(const TextSize& size) {
    return static_cast<std::size_t>(std::max(size.width - static_cast<int>(marginWidth) - 1, 10));
}

}  // namespace

std::size_t dotColumns(const TextSize& size) { return 2 * plotColumns(size); }

std::string drawnInText(const Picture& picture, const TextSize& size) {
    constexpr std::size_t maxRows = 20, minRows = 4;
    const std::size_t columns = plotColumns(size), rows = std::clamp(columns / 4, minRows, maxRows);
    const std::string margin(marginWidth + 1, ' ');
    std::string text;
    if (!picture.title.empty()) text += margin + centred(picture.title, columns) + "\n";
    const bool isDivided = !size.styled && picture.curves.size() > 1;
    if (!isDivided && !picture.yLabel.empty()) text += " " + fitted(picture.yLabel, columns) + "\n";
    if (size.styled && picture.curves.size() > 1) text += legend(picture, columns, margin);
    if (!picture.marks.empty()) text += markLine(picture, columns);
    if (isDivided) {
        Picture part = picture;
        for (const Curve& curve : picture.curves) {
            part.curves = {curve};
            fitLimits(part, picture.x);
            text += " " + fitted(curve.name, columns) + "\n" +
                    panel(part, columns, std::max(rows / picture.curves.size(), minRows), false);
        }
    } else {
        text += panel(picture, columns, rows, size.styled);
    }
    text += xAxis(picture, columns) + margin + centred(picture.xLabel, columns) + "\n";
    if (picture.map) text += margin + centred("colour: " + picture.mapLabel, columns) + "\n";
    if (!picture.marks.empty()) text += margin + centred("▾ " + picture.marksName, columns) + "\n";
    return text;
}

}  // namespace cli
