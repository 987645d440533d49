// zepl plot: pictures of recordings, tables and events.
#pragma once

#include <memory>
#include <string>

#include "cli/plot/arguments.h"
#include "cli/terminal.h"
#include "runtime/stop_request.h"

namespace cli {

// The picture in characters, as wide as the screen.
std::string plotted(const PlotArguments& arguments, const Screen& screen,
                    const std::shared_ptr<libzepl::StopRequest>& stop);

// zepl plot; gives the exit status.
int plot(const PlotArguments& arguments);

}  // namespace cli
