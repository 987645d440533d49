#include "cli/replay.h"

#include <cstdio>
#include <optional>

#include "cli/crash.h"
#include "cli/option_values.h"
#include "cli/report_file.h"
#include "cli/run.h"
#include "cli/signals.h"
#include "runtime/capture.h"
#include "runtime/stop_request.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

// "differs first among the samples 257 to 512, by round 9"
std::string differenceOf(const ReplayedOutput& output) {
    const std::string unit = nameOfOne(output.unit), first = std::to_string(output.first);
    if (output.round == 0)
        return "has more than the run gave: " + unit + " " + first + ", in round " + std::to_string(output.replayRound);
    const std::string round = "round " + std::to_string(output.round);
    if (output.replayRound == 0) {
        const std::string missing = std::to_string(output.count + 1);
        return "has fewer than the run gave: " + unit + " " + missing + " is missing, which the run gave by " + round +
               (output.first > output.count ? "" : ", and from " + unit + " " + first + " on others can differ");
    }
    const std::string where = output.last == output.first
                                  ? "at " + unit + " " + first
                                  : "among the " + unit + "s " + first + " to " + std::to_string(output.last);
    return "differs first " + where + ", by " + round +
           (output.replayRound == output.round ? ""
                                               : ", and in the replay by round " + std::to_string(output.replayRound));
}

// A line for each output that is named to be of interest.
void printDifferences(const ReplayResult& result) {
    for (const ReplayedOutput& output : result.outputs)
        if (output.differs)
            std::fprintf(stderr, "  %s %s\n", libzepl::quoted(output.name).c_str(), differenceOf(output).c_str());
        else if (output.isCompared)
            std::fprintf(stderr, "  %s is the same, %s\n", libzepl::quoted(output.name).c_str(),
                         counted(output.count, nameOfOne(output.unit)).c_str());
}

std::string allOutputs(std::size_t compared) {
    if (compared == 0) return "there was no output to compare";
    return compared == 1 ? "the output is the same" : "all " + std::to_string(compared) + " outputs are the same";
}

// Says what the comparison came to; gives the exit status.
int printResult(const ReplayResult& result, const ReplayArguments& arguments) {
    std::size_t compared = 0;
    for (const ReplayedOutput& output : result.outputs) {
        compared += output.isCompared ? 1 : 0;
        if (!output.isCompared && !arguments.quiet)
            std::fprintf(stderr, "note: %s is not compared: the run did not write it\n",
                         libzepl::quoted(output.name).c_str());
    }
    const std::string replayed = arguments.folder + ": replayed " + counted(result.lastRound, "round") + ": ";
    if (!arguments.set.empty()) {
        // Another run, of which nothing says how it should be.
        if (arguments.quiet) return allWell;
        std::fprintf(stderr, "%swith other values, so that outputs need not be the same\n", replayed.c_str());
        printDifferences(result);
        return allWell;
    }
    if (result.isSame) {
        if (!arguments.quiet) std::fprintf(stderr, "%s%s\n", replayed.c_str(), allOutputs(compared).c_str());
        return allWell;
    }
    const ReplayedOutput& first = result.outputs[result.firstDifferent];
    std::fprintf(stderr, "zepl: error: %sthe replay is not the run: %s %s\n", replayed.c_str(),
                 libzepl::quoted(first.name).c_str(), differenceOf(first).c_str());
    if (!arguments.quiet && compared > 1) printDifferences(result);
    return runFailed;
}

void checkNames(const Replay& replay, const std::string& folder) {
    if (replay.hasProcedure()) return;
    throw Problem(folder + ": the run was no procedure's, but that of a session which a program made",
                  "replay it by that program: libzepl's Replay attaches to a session");
}

BindOptions bindOptions(const Replay& replay, const ReplaySettings& settings, const ReplayArguments& arguments) {
    BindOptions options = replay.bindOptions(settings);
    options.sync = arguments.sync;
    options.session.console = [quiet = arguments.quiet](std::string_view text) {
        if (!quiet) std::fwrite(text.data(), 1, text.size(), stderr);
    };
    return options;
}

}  // namespace

int replay(const ReplayArguments& arguments) {
    const std::shared_ptr<StopRequest> stop = catchSignals();
    const WaitScope waiting(*stop);
    CommandLibrary library;
    loadModules(library, arguments.modules);
    Replay replay(arguments.folder);
    checkNames(replay, arguments.folder);
    ReplaySettings settings{.until = arguments.until};
    settings.values = pairsOf("--set VARIABLE=VALUE", arguments.set);
    settings.outputs = pairsOf("--out NAME=FILE", arguments.out);
    BindOptions options = bindOptions(replay, settings, arguments);
    options.session.stop = stop;
    std::optional<CrashNotice> crash;
    options.session.crashed = [&crash](Report& report, std::size_t task) { crash->end(report, task); };
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure(replay.procedure(), diagnostics);
    ReportFile reportFile(arguments.report, procedure, library, options);
    BoundProcedure bound = boundOf(procedure, library, options, diagnostics);
    crash.emplace(bound.procedure, reportFile.file(), reportModules(library));
    // Warnings were the run's own.
    printDiagnostics(diagnostics, procedure, true);
    if (bound.session == nullptr) return stop->requested() ? statusOfSignal() : wrongCall;
    if (!arguments.quiet)
        for (const std::string& note : replay.notes(library)) std::fprintf(stderr, "note: %s\n", note.c_str());
    replay.attach(*bound.session, settings);
    Report report = bound.session->run();
    report.procedure = procedure.source.name;
    printEnd(bound.procedure, report, arguments.quiet, bound.advice, false);
    reportFile.write(report, library);
    if (stop->requested()) return statusOfSignal();
    return printResult(replay.result(), arguments);
}

}  // namespace cli
