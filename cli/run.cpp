#include "cli/run.h"

#include <algorithm>
#include <cstdio>

#include "cli/crash.h"
#include "cli/modules.h"
#include "cli/option_values.h"
#include "cli/progress.h"
#include "cli/report_file.h"
#include "cli/signals.h"
#include "runtime/binder.h"
#include "runtime/files/input_file.h"
#include "runtime/files/stream_wait.h"

namespace cli {

namespace {

using namespace libzepl;

void tell(const std::vector<Diagnostic>& diagnostics, const Procedure& procedure) {
    std::fputs(render(diagnostics, procedure.source).c_str(), stderr);
}

// What came out where.
void tellOutputs(const Report& report) {
    for (const OutputReport& output : report.outputs) {
        if (output.file.empty()) continue;
        const std::string count = counted(output.count, output.countsEvents ? "event" : "sample");
        std::fprintf(stderr, "wrote %s: %s of `%s`\n", output.file.c_str(), count.c_str(), output.channel.c_str());
    }
}

bool isToldAsWarning(const Report& report, const std::string& note) {
    return std::any_of(report.unwritten.begin(), report.unwritten.end(),
                       [&](const std::string& name) { return note == "nobody writes `" + name + "`"; });
}

void tellEnd(const Procedure& procedure, const Report& report, const RunArguments& arguments,
             const std::vector<std::string>& advice) {
    std::vector<Diagnostic> diagnostics = diagnose(procedure, report, advice);
    if (arguments.quiet)
        std::erase_if(diagnostics, [](const Diagnostic& each) { return each.severity == Severity::warning; });
    tell(diagnostics, procedure);
    if (arguments.quiet) return;
    for (const std::string& note : report.notes)
        if (!isToldAsWarning(report, note)) std::fprintf(stderr, "note: %s\n", note.c_str());
    tellOutputs(report);
}

BindOptions bindOptions(const RunArguments& arguments, bool setUpOnly) {
    BindOptions options;
    options.inputs = pairsOf("--in NAME=FILE", arguments.in);
    options.outputs = pairsOf("--out NAME=FILE", arguments.out);
    options.values = pairsOf("--set VARIABLE=VALUE", arguments.set);
    options.session.info = infoOf(arguments.info);
    options.session.block = arguments.block;
    options.session.startTime = arguments.startTime;
    options.session.patience = arguments.patience;
    options.session.setUpOnly = setUpOnly;
    options.sync = arguments.sync;
    if (!arguments.feed.empty()) options.session.feed = feedOf(arguments.feed);
    if (!arguments.memory.empty()) options.session.memoryLimit = sizeOf(arguments.memory);
    return options;
}

int exitStatus(const Report& report) {
    switch (report.status) {
        case Report::Status::ok:
            return allWell;
        case Report::Status::failed:
            return runFailed;
        case Report::Status::interrupted:
            return statusOfSignal();
        default:
            return wrongCall;
    }
}

// The report of a run that was stopped before its first task began.
Report interruptedReport(const Procedure& procedure) {
    Report report = refusalReport(procedure, {});
    report.status = Report::Status::interrupted;
    report.notes.push_back("the run was stopped before it began");
    return report;
}

BoundProcedure boundOf(const Procedure& procedure, const CommandLibrary& library, const BindOptions& options,
                       std::vector<Diagnostic>& diagnostics) {
    if (hasErrors(diagnostics)) return {};
    try {
        return bindProcedure(procedure, library, options, diagnostics);
    } catch (const Interrupted&) {
        return {};
    }
}

// Runs what is bound and tells its end; gives the exit status.
int runBound(BoundProcedure& bound, const Procedure& procedure, const RunArguments& arguments, ProgressLine& progress,
             Report& report) {
    report = bound.session->run();
    report.procedure = arguments.procedure;
    progress.clear();
    tellEnd(procedure, report, arguments, bound.advice);
    return exitStatus(report);
}

int runProcedure(const RunArguments& arguments, bool setUpOnly) {
    const std::shared_ptr<StopRequest> stop = catchSignals();
    const WaitScope waiting(*stop);
    CommandLibrary library;
    loadModules(library, arguments.modules);
    BindOptions options = bindOptions(arguments, setUpOnly);
    options.session.stop = stop;
    ProgressLine progress(!arguments.quiet);
    options.session.progress = [&](const Progress& state) { progress.show(state); };
    options.session.console = [&](std::string_view text) {
        progress.clear();
        if (!arguments.quiet) std::fwrite(text.data(), 1, text.size(), stderr);
    };
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure({arguments.procedure, readTextFile(arguments.procedure)}, diagnostics);
    ReportFile reportFile(arguments.report, procedure, library, options);
    CrashNotice crash(procedure, arguments.report, reportModule(library));
    options.session.crashed = [&crash](Report& report, std::size_t task) { crash.end(report, task); };
    BoundProcedure bound = boundOf(procedure, library, options, diagnostics);
    tell(diagnostics, procedure);
    Report report;
    int status = wrongCall;
    if (stop->requested()) {
        report = interruptedReport(procedure);
        status = statusOfSignal();
    } else if (bound.session == nullptr) {
        report = refusalReport(procedure, diagnostics);
    } else {
        status = runBound(bound, procedure, arguments, progress, report);
    }
    try {
        reportFile.write(report, library);
    } catch (const Problem& problem) {
        tellProblem(problem);
        if (status == allWell) status = runFailed;
    }
    return status;
}

}  // namespace

void tellProblem(const Problem& problem) {
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
