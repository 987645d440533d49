// The files that are drawn: what they hold, and what their x axis is.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/plot/arguments.h"
#include "runtime/files.h"

namespace cli {

enum class Axis { index, seconds, hertz };
std::string labelOf(Axis axis);

struct PlottedFile {
    std::string name;                         // as messages call it
    std::unique_ptr<libzepl::Source> source;  // of double, all channels, frame by frame
    std::size_t channels = 1;
    std::vector<std::string> names;          // of the channels
    std::vector<std::size_t> shown;          // the channels to draw, from 0
    std::optional<std::size_t> axisChannel;  // a column of it is the x axis
    Axis axis = Axis::index;
    std::optional<double> rate;  // frames a second
};

// A recording or table. What cannot be drawn is a Problem.
PlottedFile openPlotted(const std::string& file, const PlotArguments& arguments);

// Whether the file is a trigger's, with the headings event and position.
bool isEventsFile(const std::string& file);

// The positions of a trigger's events, counted on where their 32 bits wrap.
std::vector<double> eventPositions(const std::string& file);

}  // namespace cli
