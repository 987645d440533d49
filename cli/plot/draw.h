// The ways to draw a picture.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "cli/plot/picture.h"

namespace cli {

// Columns of a picture that gnuplot draws: so many bands a curve are what can be seen.
inline constexpr std::size_t gnuplotColumns = 700;

// The file, .svg or .png, that gnuplot draws. The same picture gives the same bytes.
void drawByGnuplot(const Picture& picture, const std::filesystem::path& path);

struct TextSize {
    int width = 80;       // columns
    bool styled = false;  // with colours
};

// The picture in characters, braille dots for curves and blocks for levels, as wide as that. Without colours each curve
// has a panel of its own.
std::string drawnInText(const Picture& picture, const TextSize& size);
std::size_t dotColumns(const TextSize& size);

}  // namespace cli
