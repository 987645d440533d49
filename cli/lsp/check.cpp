#include "cli/lsp/check.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/pages.h"
#include "cli/run.h"
#include "runtime/binder.h"
#include "runtime/files.h"

namespace cli::lsp {

using namespace libzepl;

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr const char* faultRemedy = "it is a fault of the command: report it to the author of its module";

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ::ssize_t done = ::write(descriptor, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return;
        bytes.remove_prefix(static_cast<std::size_t>(done));
    }
}

std::string asJson(const CheckResult& result) {
    Json found = Json::array();
    for (const Diagnostic& each : result.found)
        found.push_back({static_cast<int>(each.severity), each.place.line, each.place.column, each.place.length,
                         each.message, each.remedy});
    const Json all{{"found", std::move(found)}, {"notes", result.notes}, {"lengths", result.lengths}};
    return all.dump(-1, ' ', false, Json::error_handler_t::replace);
}

CheckResult resultOf(const std::string& text) {
    CheckResult result;
    const Json all = Json::parse(text);
    for (const Json& each : all["found"])
        result.found.push_back(
            {static_cast<Severity>(each[0].get<int>()), {each[1], each[2], each[3]}, each[4], each[5]});
    result.notes = all["notes"];
    result.lengths = all["lengths"];
    return result;
}

// What a handler of signals writes when a command has damaged the memory of the process: the result for each task, but for
// what happened.
class CrashResults {
 public:
    CrashResults(const Procedure& procedure, int descriptor) : descriptor_(descriptor) {
        for (const CommandUse& use : procedure.commands) add(use.place, nameOf(use));
        for (const PipeDeclaration& pipe : procedure.pipes)
            if (pipe.definition) add(pipe.place, pipe.name + " = " + pipe.definedAs);
    }

    [[noreturn]] void end(const Report& report, std::size_t task) {
        const Parts& parts = parts_[std::min(task, parts_.size() - 1)];
        for (const std::string_view part :
             {std::string_view(parts.before), std::string_view(report.tasks[task].text), std::string_view(parts.after)})
            writeAll(descriptor_, part);
        ::_exit(0);
    }

 private:
    struct Parts {
        std::string before, after;  // what happened, a plain English sentence, goes between them
    };

    void add(const Place& place, const std::string& name) {
        const std::string mark = "\x01";
        const std::string text = asJson({{{Severity::error, place, name + ": " + mark, faultRemedy}}, {}, {}});
        constexpr std::string_view escaped = "\\u0001";
        const std::size_t at = text.rfind(escaped);
        parts_.push_back({text.substr(0, at), text.substr(at + escaped.size())});
    }

    int descriptor_;
    std::vector<Parts> parts_;
};

// Whether something would have to come from a stream before the procedure can be set up. Of raw samples nothing has.
bool waitsForStream(const Procedure& procedure, const std::optional<FileClause>& clause, bool takesRaw) {
    if (!clause) return false;
    const bool isRaw = takesRaw && (clause->format.empty() ? clause->path == "-" : clause->format == "raw");
    if (isStandardStream(clause->path)) return !isRaw;
    std::error_code unknown;
    const fs::path path = fs::path(procedure.source.name).parent_path() / clause->path;
    return !isAddress(clause->path) && fs::is_fifo(path, unknown);
}

// Nobody has begun to write what the procedure will read from a stream: it stays unread, and is taken as empty. False, with
// the reason, where nothing can be said without it.
bool emptyStreams(const Procedure& procedure, BindOptions& options, CheckResult& result) {
    const auto refuse = [&](const Place& place) {
        result.found.push_back({Severity::arrival, place,
                                "this is read from a stream, without which nothing more is checked",
                                "zepl check reads the stream"});
        return false;
    };
    for (const PipeDeclaration& pipe : procedure.pipes) {
        if (!waitsForStream(procedure, pipe.from, true)) continue;
        if (pipe.array.isWhole()) return refuse(pipe.from->place);
        options.samples[pipe.name].type = pipe.type;
    }
    for (const TriggerDeclaration& trigger : procedure.triggers)
        if (waitsForStream(procedure, trigger.from, false)) options.events[trigger.name] = {};
    for (const VectorDeclaration& vector : procedure.vectors)
        if (waitsForStream(procedure, vector.from, false)) return refuse(vector.from->place);
    return true;
}

// What cli/run.cpp does for `zepl check`, but for what concerns files of its call.
CheckResult checked(const Procedure& procedure, std::vector<Diagnostic> mistakes, const CommandLibrary& library,
                    int descriptor) {
    CheckResult result{std::move(mistakes), {}, {}};
    BindOptions options;
    options.session.setUpOnly = true;
    options.session.cautions = pageCautions(library, procedure);
    if (!emptyStreams(procedure, options, result)) return result;
    std::optional<CrashResults> crash;
    options.session.crashed = [&crash](Report& report, std::size_t task) { crash->end(report, task); };
    BoundProcedure bound = boundOf(procedure, library, options, result.found);
    result.lengths = bound.lengths;
    if (bound.session == nullptr) return result;
    crash.emplace(bound.procedure, descriptor);
    const Report report = bound.session->run();
    for (Diagnostic& each : diagnose(bound.procedure, report, bound.advice)) result.found.push_back(std::move(each));
    result.notes = notesOf(report);
    return result;
}

// Files are named as in a call from the document's folder.
Procedure parsed(const CheckRequest& request, std::vector<Diagnostic>& mistakes) {
    const fs::path path(request.path);
    const bool isThere = path.has_parent_path() && ::chdir(path.parent_path().c_str()) == 0;
    return parseProcedure({isThere ? path.filename().string() : request.path, request.text}, mistakes);
}

// Whatever a module prints goes nowhere.
void detach() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int standard : {0, 1, 2}) ::dup2(nowhere, standard);
}

[[noreturn]] void checkInChild(const CheckRequest& request, const CommandLibrary& library, int descriptor) {
    detach();
    CheckResult result;
    try {
        std::vector<Diagnostic> mistakes;
        const Procedure procedure = parsed(request, mistakes);
        result = checked(procedure, std::move(mistakes), library, descriptor);
    } catch (const Problem& problem) {
        result.found = {{Severity::error, {}, problem.what(), problem.remedy()}};
    } catch (const std::exception& error) {
        result.found = {{Severity::error, {}, error.what(), {}}};
    }
    writeAll(descriptor, asJson(result));
    ::_exit(0);
}

CheckResult refused(const std::string& message, const std::string& remedy = {}) {
    return {{{Severity::error, {}, message, remedy}}, {}, {}};
}

}  // namespace

CheckProcess::CheckProcess(CheckRequest request, const CommandLibrary& library) : request_(std::move(request)) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw Problem("the system has no more descriptors");
    descriptor_ = ends[0];
    process_ = ::fork();  // where that fails, there is nothing to read
    if (process_ == 0) checkInChild(request_, library, ends[1]);
    ::close(ends[1]);
}

CheckProcess::~CheckProcess() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    // It may take a while to be gone: nobody waits for it, but those that are gone by now are cleared away.
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

std::optional<CheckResult> CheckProcess::read() {
    std::array<char, 65536> piece;
    const ::ssize_t got = descriptor_ < 0 ? 0 : ::read(descriptor_, piece.data(), piece.size());
    if (got < 0 && errno == EINTR) return std::nullopt;
    if (got > 0) {
        bytes_.append(piece.data(), static_cast<std::size_t>(got));
        return std::nullopt;
    }
    try {
        return resultOf(bytes_);
    } catch (const Json::exception&) {
        return refused("the check of the procedure ended before it was complete", "zepl check says more");
    }
}

CheckResult CheckProcess::tooLong() {
    return refused("the check of the procedure has taken over " + std::to_string(maxCheckSeconds) + " seconds",
                   "zepl check waits until it is complete");
}

}  // namespace cli::lsp
