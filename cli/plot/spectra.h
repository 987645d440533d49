// Spectra of recordings, by the module's own commands.
#pragma once

#include <cstddef>
#include <vector>

#include "cli/plot/drawing.h"
#include "cli/plot/plotted_file.h"

namespace cli {

// Levels in decibels, 0 being a sine of amplitude 1 (or a constant 1), of one channel.
struct Spectra {
    std::size_t block = 0;                   // samples to a spectrum
    double rate = 0;                         // frames a second; 1 where none is known
    std::vector<std::vector<float>> levels;  // block / 2 for each column of time: 0 Hz and up in steps of rate / block
    double secondsPerColumn = 0;
};

// Spectra of blocks under von Hann's window, their powers averaged: all of them (columns 1), or as many as share one of at most
// `columns` columns of time. One result for each channel that is shown.
std::vector<Spectra> spectraOf(PlottedFile& file, std::size_t columns, int block, const PlotTools& tools);

}  // namespace cli
