// zepl plot: pictures of recordings, tables and events.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/terminal.h"
#include "runtime/stop_request.h"

namespace cli {

struct PlotArguments {
    std::vector<std::string> files;
    std::string to;                     // .svg or .png; empty: in the terminal
    std::string events;                 // a trigger's file, for marks
    std::string range;                  // FROM..TO of the x axis
    std::string unit;                   // of the values
    std::string type;                   // of raw samples
    std::vector<std::string> channels;  // to be drawn, by heading or number; empty: all
    std::optional<double> rate{};
    int block = 0;  // samples to a spectrum; 0 is what fits
    bool spectrum = false, spectrogram = false, xy = false;
    std::string title;
};

// The picture in characters, as wide as the screen.
std::string plotted(const PlotArguments& arguments, const Screen& screen, std::shared_ptr<libzepl::StopRequest> stop);

// zepl plot; gives the exit status.
int plot(const PlotArguments& arguments);

}  // namespace cli
