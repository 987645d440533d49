#include "cli/run.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>

#include "cli/crash.h"
#include "cli/modules.h"
#include "cli/option_values.h"
#include "cli/pages.h"
#include "cli/plot.h"
#include "cli/progress.h"
#include "cli/report_file.h"
#include "cli/signals.h"
#include "runtime/binder.h"
#include "runtime/capture.h"
#include "runtime/diagnostics.h"
#include "runtime/stop_request.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

void printRendered(const std::vector<Diagnostic>& diagnostics, const Procedure& procedure) {
    std::fputs(render(diagnostics, procedure.source).c_str(), stderr);
}

std::string unitOf(const OutputReport& output) {
    return output.unit == OutputReport::Unit::samples && output.channels > 1 ? "frame" : nameOfOne(output.unit);
}

// What came out where.
void printOutputs(const Report& report) {
    for (const OutputReport& output : report.outputs) {
        if (output.file.empty()) continue;
        const std::string count = counted(output.count / output.channels, unitOf(output));
        const std::string of = output.unit == OutputReport::Unit::rows ? "" : " of " + libzepl::quoted(output.channel);
        std::fprintf(stderr, "wrote %s: %s%s\n", output.file.c_str(), count.c_str(), of.c_str());
    }
}

// The type of what a file of a pipe or of an array of pipes holds.
std::string typeOf(const Report& report, const std::string& channel) {
    for (const PipeReport& pipe : report.pipes)
        if (pipe.name == channel || pipe.name == channel + "[1]") return std::string(nameOf(pipe.type));
    return {};
}

// Standard output may be one of the outputs. What cannot be drawn is noted: the run was well.
void drawOutputs(const Report& report, const std::shared_ptr<StopRequest>& stop) {
    for (const OutputReport& output : report.outputs) {
        if (output.file.empty()) continue;
        PlotArguments arguments;
        arguments.files = {output.file};
        arguments.title = output.file;
        arguments.type = typeOf(report, output.channel);
        try {
            std::fputs(plotted(arguments, screen(STDERR_FILENO), stop).c_str(), stderr);
        } catch (const Problem& problem) {
            std::fprintf(stderr, "note: no picture: %s\n", problem.what());
        }
    }
}

// Loss is never passed over in silence. Whether it was accepted.
bool acceptLoss(const Report& report, const RunArguments& arguments) {
    const auto lost = std::find_if(report.inputs.begin(), report.inputs.end(),
                                   [](const InputReport& input) { return input.losses.frames > 0; });
    if (lost == report.inputs.end() || arguments.allowLoss) return true;
    printProblem(Problem("samples of " + libzepl::quoted(lost->name) + " are lost: the run did not keep pace",
                         "the notes and the report say where; --allow-loss takes such a run as done well"));
    return false;
}

}  // namespace

std::vector<std::string> notesOf(const Report& report) {
    std::set<std::string> warned(report.warned.begin(), report.warned.end());
    for (const std::string& name : report.unwritten) warned.insert("nobody writes `" + name + "`");
    std::vector<std::string> notes = report.notes;
    std::erase_if(notes, [&](const std::string& note) { return warned.contains(note); });
    return notes;
}

int exitStatus(const Report& report, const RunArguments& arguments) {
    const bool isWell = acceptLoss(report, arguments);
    switch (report.status) {
        case Report::Status::ok:
            return isWell ? allWell : runFailed;
        case Report::Status::failed:
            return runFailed;
        case Report::Status::interrupted:
            return statusOfSignal();
        default:
            return wrongCall;
    }
}

namespace {

// The report of a run that was stopped before its first task began.
Report interruptedReport(const Procedure& procedure) {
    Report report = refusalReport(procedure, {});
    report.status = Report::Status::interrupted;
    report.notes.push_back("the run was stopped before it began");
    return report;
}

// Prints how the run ended, and gives the exit status.
int concludeRun(const BoundProcedure& bound, const RunArguments& arguments, ProgressLine& progress, Report& report,
                bool checkOnly) {
    report.procedure = arguments.procedure;
    progress.clear();
    printEnd(bound.procedure, report, arguments.quiet, bound.advice, checkOnly);
    return exitStatus(report, arguments);
}

// What a run is kept in can fail while the run itself goes well.
int statusAfter(const Capture& capture, int status) {
    const std::optional<Problem> failure = capture.failure();
    if (!failure) return status;
    printProblem(*failure);
    return status == allWell ? runFailed : status;
}

int runProcedure(const RunArguments& arguments, bool setUpOnly) {
    const std::shared_ptr<StopRequest> stop = catchSignals();
    const WaitScope waiting(*stop);
    CommandLibrary library;
    loadModules(library, arguments.modules);
    std::vector<Diagnostic> diagnostics;
    BindOptions options = bindOptions(arguments, setUpOnly, diagnostics);
    if (hasErrors(diagnostics)) {
        std::fputs(render(diagnostics, {"zepl", {}}).c_str(), stderr);
        return wrongCall;
    }
    std::optional<Capture> capture;
    if (arguments.capture) capture.emplace(*arguments.capture);
    options.session.stop = stop;
    ProgressLine progress(!arguments.quiet);
    options.session.progress = [&](const Progress& state) { progress.show(state); };
    options.session.console = [&](std::string_view text) {
        progress.clear();
        if (!arguments.quiet) std::fwrite(text.data(), 1, text.size(), stderr);
    };
    const Procedure procedure = parseProcedure({arguments.procedure, readTextFile(arguments.procedure)}, diagnostics);
    options.session.cautions = pageCautions(library, procedure);
    ReportFile reportFile(arguments.report, procedure, library, options);
    std::optional<CrashNotice> crash;
    options.session.crashed = [&crash](Report& report, std::size_t task) { crash->end(report, task); };
    BoundProcedure bound = boundOf(procedure, library, options, diagnostics);
    crash.emplace(bound.procedure, reportFile.file(), reportModules(library));
    printDiagnostics(diagnostics, procedure, arguments.quiet);
    Report report;
    int status = wrongCall;
    if (stop->requested()) {
        report = interruptedReport(bound.procedure);
        status = statusOfSignal();
    } else if (bound.session == nullptr) {
        report = refusalReport(bound.procedure, diagnostics);
    } else {
        if (capture) {
            capture->keepProcedure(procedure, options, bound);
            capture->attach(*bound.session);
        }
        report = runBound(bound, procedure, library, options, arguments.jobs);
        status = concludeRun(bound, arguments, progress, report, setUpOnly);
        if (capture) status = statusAfter(*capture, status);
        if (status == allWell && arguments.plot && !setUpOnly) drawOutputs(report, stop);
    }
    try {
        reportFile.write(report, library);
    } catch (const Problem& problem) {
        printProblem(problem);
        if (status == allWell) status = runFailed;
    }
    return status;
}

}  // namespace

BindOptions bindOptions(const RunArguments& arguments, bool setUpOnly, std::vector<Diagnostic>& mistakes) {
    BindOptions options;
    const auto read = [&](auto step) {
        try {
            step();
        } catch (const Problem& problem) {
            mistakes.push_back({Severity::error, {}, problem.what(), problem.remedy()});
        }
    };
    read([&] { options.inputs = pairsOf("--in NAME=FILE", arguments.in); });
    read([&] { options.outputs = pairsOf("--out NAME=FILE", arguments.out); });
    read([&] { options.values = pairsOf("--set VARIABLE=VALUE", arguments.set); });
    read([&] { options.session.info = infoOf(arguments.info); });
    if (!arguments.feed.empty()) read([&] { options.session.feed = feedOf(arguments.feed); });
    read([&] { options.session.pace = paceOf(arguments.pace, options.session.feed); });
    options.feedGiven = !arguments.feed.empty();
    if (!arguments.memory.empty()) read([&] { options.session.memoryLimit = sizeOf(arguments.memory); });
    options.session.block = arguments.block;
    options.session.startTime = arguments.startTime;
    options.session.patience = arguments.patience;
    options.session.setUpOnly = setUpOnly;
    options.sync = arguments.sync;
    if (!arguments.quiet)
        options.listening = [](const std::string& address) {
            std::fprintf(stderr, "listening on %s\n", address.c_str());
        };
    return options;
}

void printDiagnostics(std::vector<Diagnostic> diagnostics, const Procedure& procedure, bool quiet) {
    if (quiet) std::erase_if(diagnostics, [](const Diagnostic& each) { return each.severity != Severity::error; });
    printRendered(diagnostics, procedure);
}

void printEnd(const Procedure& procedure, const Report& report, bool quiet, const std::vector<std::string>& advice,
              bool checkOnly) {
    std::vector<Diagnostic> diagnostics = diagnose(procedure, report, advice);
    // That a result depends on how the input arrives is reported where a procedure is checked, and in the report.
    if (!checkOnly)
        std::erase_if(diagnostics, [](const Diagnostic& each) { return each.severity == Severity::arrival; });
    printDiagnostics(std::move(diagnostics), procedure, quiet);
    if (quiet) return;
    for (const std::string& note : notesOf(report)) std::fprintf(stderr, "note: %s\n", note.c_str());
    printOutputs(report);
}

BoundProcedure boundOf(const Procedure& procedure, const CommandLibrary& library, const BindOptions& options,
                       std::vector<Diagnostic>& diagnostics) {
    try {
        if (!hasErrors(diagnostics)) return bindProcedure(procedure, library, options, diagnostics);
    } catch (const Interrupted&) {
    }
    BoundProcedure none;
    none.procedure = procedure;
    return none;
}

std::string nameOfOne(OutputReport::Unit unit) {
    switch (unit) {
        case OutputReport::Unit::events:
            return "event";
        case OutputReport::Unit::rows:
            return "row";
        case OutputReport::Unit::frames:
            return "frame";
        default:
            return "sample";
    }
}

void printProblem(const Problem& problem) {
    std::fprintf(stderr, "zepl: error: %s\n", problem.what());
    if (!problem.remedy().empty()) std::fprintf(stderr, "  %s\n", problem.remedy().c_str());
}

int run(const RunArguments& arguments) { return runProcedure(arguments, false); }

int check(const RunArguments& arguments) {
    const int status = runProcedure(arguments, true);
    if (status == allWell && !arguments.quiet) std::fprintf(stderr, "%s: ready to run\n", arguments.procedure.c_str());
    return status;
}

}  // namespace cli
