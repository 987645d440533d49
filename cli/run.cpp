#include "cli/run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>

#include "cli/modules.h"
#include "cli/option_values.h"
#include "cli/progress.h"
#include "runtime/binder.h"
#include "runtime/binder_files.h"

namespace cli {

namespace {

using namespace libzepl;

std::atomic<Session*> interruptible{nullptr};

// The first interruption lets the run end in order, the second ends it at once.
extern "C" void onInterrupt(int) {
    Session* session = interruptible.exchange(nullptr);
    if (session == nullptr) ::_exit(130);
    const int error = errno;
    session->requestStop();
    // A read that waits for standard input is restarted, and must find its end there.
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing >= 0) ::dup2(nothing, STDIN_FILENO);
    errno = error;
}

class InterruptGuard {
 public:
    explicit InterruptGuard(Session& session) {
        interruptible = &session;
        struct sigaction action {};
        action.sa_handler = onInterrupt;
        action.sa_flags = SA_RESTART;
        ::sigaction(SIGINT, &action, &old_);
    }
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;
    ~InterruptGuard() {
        ::sigaction(SIGINT, &old_, nullptr);
        interruptible = nullptr;
    }

 private:
    struct sigaction old_ {};
};

// The report's file is opened before the run, so that a wrong name costs no run.
class ReportFile {
 public:
    ReportFile(const std::string& name, const Procedure& procedure, const BindOptions& options) : name_(name) {
        if (name.empty()) return;
        if (usesFile(procedure, options, name))
            throw Problem("--report " + name + ": the procedure is that file, or reads or writes it",
                          "name a file of its own");
        stream_.open(name, std::ios::binary | std::ios::trunc);
        check();
    }

    void write(const Report& report, const CommandLibrary& library) {
        if (name_.empty()) return;
        const LoadedModule& module = library.modules().front();
        stream_ << toJson(report, {module.name, module.buildVersion, module.interfaceVersion});
        stream_.flush();
        check();
    }

 private:
    void check() const {
        if (!stream_)
            throw Problem("the report " + libzepl::quoted(name_) + " cannot be written",
                          "name a file in a folder that exists and that you can write to");
    }

    std::string name_;
    std::ofstream stream_;
};

void tell(const std::vector<Diagnostic>& diagnostics, const Procedure& procedure) {
    std::fputs(render(diagnostics, procedure.source).c_str(), stderr);
}

// What came out where.
void tellOutputs(const Procedure& procedure, const Report& report, const BindOptions& options) {
    const auto outputOf = [&](const std::string& name, const std::optional<FileClause>& to) {
        const std::optional<ChannelFile> file = outputFile(procedure, options, name, to);
        return file ? file->path.string() : std::string();
    };
    const auto line = [](const std::string& file, std::uint64_t count, const std::optional<FileClause>& to,
                         const std::string& unit, const std::string& name) {
        if (file.empty() || file == "-") return;
        const std::uint64_t written = to && to->limit ? std::min(count, *to->limit) : count;
        std::fprintf(stderr, "wrote %s: %llu %s%s of `%s`\n", file.c_str(), static_cast<unsigned long long>(written),
                     unit.c_str(), written == 1 ? "" : "s", name.c_str());
    };
    for (std::size_t i = 0; i < procedure.pipes.size(); ++i) {
        const PipeDeclaration& pipe = procedure.pipes[i];
        line(outputOf(pipe.name, pipe.to), report.pipes[i].written, pipe.to, "sample", pipe.name);
    }
    for (std::size_t i = 0; i < procedure.triggers.size(); ++i) {
        const TriggerDeclaration& trigger = procedure.triggers[i];
        line(outputOf(trigger.name, trigger.to), report.triggers[i].asserted, trigger.to, "event", trigger.name);
    }
}

bool isToldAsWarning(const Report& report, const std::string& note) {
    return std::any_of(report.unwritten.begin(), report.unwritten.end(),
                       [&](const std::string& name) { return note == "nobody writes `" + name + "`"; });
}

void tellEnd(const Procedure& procedure, const Report& report, const RunArguments& arguments,
             const BindOptions& options, const std::vector<std::string>& advice) {
    std::vector<Diagnostic> diagnostics = diagnose(procedure, report, advice);
    if (arguments.quiet)
        std::erase_if(diagnostics, [](const Diagnostic& each) { return each.severity == Severity::warning; });
    tell(diagnostics, procedure);
    if (arguments.quiet) return;
    for (const std::string& note : report.notes)
        if (!isToldAsWarning(report, note)) std::fprintf(stderr, "note: %s\n", note.c_str());
    if (report.outputsFinished) tellOutputs(procedure, report, options);
}

BindOptions bindOptions(const RunArguments& arguments, bool setUpOnly) {
    BindOptions options;
    options.inputs = pairsOf("--in NAME=FILE", arguments.in);
    options.outputs = pairsOf("--out NAME=FILE", arguments.out);
    options.values = pairsOf("--set VARIABLE=VALUE", arguments.set);
    options.session.info = infoOf(arguments.info);
    options.session.block = arguments.block;
    options.session.startTime = arguments.startTime;
    options.session.setUpOnly = setUpOnly;
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
        default:
            return wrongCall;
    }
}

int runProcedure(const RunArguments& arguments, bool setUpOnly) {
    CommandLibrary library;
    loadModules(library, arguments.modules);
    BindOptions options = bindOptions(arguments, setUpOnly);
    ProgressLine progress(!arguments.quiet);
    options.session.progress = [&](const Progress& state) { progress.show(state); };
    options.session.console = [&](std::string_view text) {
        progress.clear();
        if (!arguments.quiet) std::fwrite(text.data(), 1, text.size(), stderr);
    };
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure({arguments.procedure, readTextFile(arguments.procedure)}, diagnostics);
    ReportFile reportFile(arguments.report, procedure, options);
    BoundProcedure bound;
    if (!hasErrors(diagnostics)) bound = bindProcedure(procedure, library, options, diagnostics);
    tell(diagnostics, procedure);
    if (bound.session == nullptr) {
        reportFile.write(refusalReport(procedure, diagnostics), library);
        return wrongCall;
    }
    const InterruptGuard guard(*bound.session);
    Report report = bound.session->run();
    report.procedure = arguments.procedure;
    progress.clear();
    tellEnd(procedure, report, arguments, options, bound.advice);
    reportFile.write(report, library);
    return exitStatus(report);
}

}  // namespace

int run(const RunArguments& arguments) { return runProcedure(arguments, false); }

int check(const RunArguments& arguments) {
    const int status = runProcedure(arguments, true);
    if (status == allWell && !arguments.quiet) std::fprintf(stderr, "%s: ready to run\n", arguments.procedure.c_str());
    return status;
}

}  // namespace cli
