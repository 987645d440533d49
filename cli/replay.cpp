#include "cli/replay.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

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

// Whether a comparison was to take place, and did not.
bool isNothingCompared(const ReplayResult& result) {
    const auto none = [](const ReplayedOutput& output) { return output.compared == 0; };
    const auto isEmpty = [](const ReplayedOutput& output) { return output.count == 0 && output.expected == 0; };
    return std::all_of(result.outputs.begin(), result.outputs.end(), none) &&
           (result.isCut || !std::all_of(result.outputs.begin(), result.outputs.end(), isEmpty));
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
    if (result.isSame && compared > 0 && isNothingCompared(result)) {
        // Of a run that was cut off, or up to a round before the first sample.
        const bool isAskedFor = arguments.until.has_value();
        if (!isAskedFor || !arguments.quiet)
            std::fprintf(stderr, "%s%s0 samples were compared: the capture has none of the outputs until then\n",
                         isAskedFor ? "" : "zepl: error: ", replayed.c_str());
        return isAskedFor ? allWell : runFailed;
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

// The file that the name means, by device and inode; none for what is not there.
using FileIdentity = std::optional<std::pair<dev_t, ino_t>>;
FileIdentity fileIdentity(const std::filesystem::path& path) {
    struct stat status {};
    if (isStandardStream(path) ? ::fstat(STDOUT_FILENO, &status) != 0 : ::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

// Where a name leads, also when nothing is there yet.
std::filesystem::path behindLinks(std::filesystem::path file) {
    constexpr int mostLinks = 40;
    std::error_code error;
    for (int links = 0; links < mostLinks && std::filesystem::is_symlink(file, error); ++links)
        file = file.parent_path() / std::filesystem::read_symlink(file, error);
    return std::filesystem::weakly_canonical(std::filesystem::absolute(file), error);
}

// Whether it is a file of the folder, or would be one, by whatever links its name leads there.
bool isInFolder(const std::filesystem::path& file, const std::filesystem::path& folder) {
    std::error_code error;
    const FileIdentity there = fileIdentity(file), whole = fileIdentity(folder);
    for (std::filesystem::recursive_directory_iterator each(folder, error), end; there && each != end && !error;
         each.increment(error))
        if (fileIdentity(each->path()) == there) return true;
    if (isStandardStream(file)) return false;
    for (std::filesystem::path above = behindLinks(file); above.has_relative_path(); above = above.parent_path())
        if (fileIdentity(above) == whole) return true;
    return false;
}

// A capture stays as it is, whatever is written.
void refuseFilesOfCapture(const ReplayArguments& arguments, const ReplaySettings& settings) {
    const auto refuse = [&](const std::string& option, const std::string& file) {
        if (file.empty() || isAddress(file) || !isInFolder(file, arguments.folder)) return;
        throw Problem(option + ": " + (file == "-" ? "standard output" : "that file") +
                          " is one of the capture's folder, which the replay reads",
                      "name a file that is not in " + arguments.folder);
    };
    refuse("--report " + arguments.report, arguments.report);
    for (const auto& [name, file] : settings.outputs) refuse("--out " + name + "=" + file, file);
}

// Prints how the replay ended, and gives the exit status of that; nothing where the comparison decides.
std::optional<int> printFailure(const Replay& replay, const Procedure& procedure, Report report,
                                const ReplayArguments& arguments, const std::vector<std::string>& advice) {
    const ReplayFailure failure = replay.failureOf(report);
    if (failure == ReplayFailure::ofRun && !arguments.quiet)
        std::fprintf(stderr, "note: the captured run ended by a failure, and the replay with it: %s\n",
                     report.reason.c_str());
    if (failure == ReplayFailure::ofRun) report.reason.clear();
    printEnd(procedure, report, arguments.quiet, advice, false);
    if (failure != ReplayFailure::ofReplay) return std::nullopt;
    printProblem(arguments.out.empty()
                     ? Problem(arguments.folder + ": the replay failed by what the run did not have, and its outputs "
                                                  "are not compared")
                     : Problem(arguments.folder +
                                   ": an output of the replay could not be written, and the outputs are not compared",
                               "give --out a file that can be written, or leave it out"));
    return runFailed;
}

void printNotes(const std::vector<std::string>& notes) {
    for (const std::string& note : notes) std::fprintf(stderr, "note: %s\n", note.c_str());
}

// False when it could not be written.
bool writeReport(ReportFile& file, const Report& report, const CommandLibrary& library) {
    try {
        file.write(report, library);
        return true;
    } catch (const Problem& problem) {
        printProblem(problem);
        return false;
    }
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
    refuseFilesOfCapture(arguments, settings);
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
    if (!arguments.quiet) {
        printNotes(replay.notes(library));
        printNotes(replay.unfedNotes(bound.procedure));
    }
    replay.attach(*bound.session, settings);
    Report report = bound.session->run();
    report.procedure = procedure.source.name;
    const std::optional<int> failed = printFailure(replay, bound.procedure, report, arguments, bound.advice);
    const bool isReported = writeReport(reportFile, report, library);
    if (stop->requested()) return statusOfSignal();
    const int status = failed ? *failed : printResult(replay.result(), arguments);
    return status == allWell && !isReported ? runFailed : status;
}

}  // namespace cli
