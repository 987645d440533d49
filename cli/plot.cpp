#include "cli/plot.h"

#include <cstdio>

#include "cli/modules.h"
#include "cli/plot/draw.h"
#include "cli/plot/drawing.h"
#include "cli/run.h"
#include "cli/signals.h"
#include "cli/standard_streams.h"
#include "runtime/stop_request.h"

namespace cli {

namespace {

using namespace libzepl;

// Modules are loaded where their commands are wanted.
Picture pictureFor(const PlotArguments& arguments, std::size_t columns, const std::shared_ptr<StopRequest>& stop) {
    CommandLibrary library;
    if (arguments.spectrum || arguments.spectrogram) loadModules(library, {});
    return pictureOf(arguments, columns, {library, stop});
}

}  // namespace

std::string plotted(const PlotArguments& arguments, const Screen& screen, const std::shared_ptr<StopRequest>& stop) {
    const TextSize size{screen.width, screen.styled};
    return drawnInText(pictureFor(arguments, dotColumns(size), stop), size);
}

int plot(const PlotArguments& arguments) {
    const std::shared_ptr<StopRequest> stop = catchSignals();
    const WaitScope waiting(*stop);
    if (arguments.to.empty()) {
        print(plotted(arguments, screen(), stop));
        return allWell;
    }
    drawByGnuplot(pictureFor(arguments, gnuplotColumns, stop), arguments.to);
    if (!isStandardStream(arguments.to)) std::fprintf(stderr, "wrote %s\n", arguments.to.c_str());
    return allWell;
}

}  // namespace cli
