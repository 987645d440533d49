// What a call of zepl plot asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace cli {

struct PlotArguments {
    std::vector<std::string> files;
    std::string to;                     // .svg or .png; empty: in the terminal
    std::string events;                 // a trigger's file, for marks
    std::string range;                  // FROM..TO of the x axis
    std::string unit;                   // of the values
    std::string type;                   // of raw samples
    std::vector<std::string> channels;  // to be drawn, by heading or number; empty: all
    std::optional<double> rate{};       // frames a second
    int block = 0;                      // samples to a spectrum; 0 is what fits
    bool spectrum = false, spectrogram = false, xy = false;
    std::string title;
};

}  // namespace cli
