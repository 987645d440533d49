// From files to a picture.
#pragma once

#include <cstddef>
#include <memory>

#include "cli/plot/arguments.h"
#include "cli/plot/picture.h"
#include "runtime/commands.h"
#include "runtime/stop_request.h"

namespace cli {

// What spectra are computed with, and what ends that.
struct PlotTools {
    const libzepl::CommandLibrary& library;  // needed for spectra alone
    std::shared_ptr<libzepl::StopRequest> stop;
};

// The picture that is asked for, its curves reduced to so many columns. What cannot be drawn is a Problem.
Picture pictureOf(const PlotArguments& arguments, std::size_t columns, const PlotTools& tools);

}  // namespace cli
