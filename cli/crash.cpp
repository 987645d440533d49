#include "cli/crash.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "cli/run.h"
#include "runtime/diagnostics.h"
#include "runtime/json_writer.h"

namespace cli {

namespace {

using namespace libzepl;

// A placeholder in a text for what is known later.
constexpr char happened = '\1';

constexpr std::string_view remedy =
    "  the run cannot continue, since memory may be damaged, and the outputs are dropped; it is a fault of the "
    "command: "
    "report it to the author of its module\n";

// Writes with the calls alone that a signal's handler may make.
class DescriptorSink : public TextSink {
 public:
    explicit DescriptorSink(int descriptor) : descriptor_(descriptor) {}
    void write(std::string_view text) override {
        while (!text.empty()) {
            if (used_ == sizeof buffer_) flush();
            const std::size_t n = std::min(text.size(), sizeof buffer_ - used_);
            text.copy(buffer_ + used_, n);
            used_ += n;
            text.remove_prefix(n);
        }
    }
    // False when anything could not be written so far.
    bool flush() {
        for (std::size_t at = 0; at < used_ && good_;) {
            const ::ssize_t done = ::write(descriptor_, buffer_ + at, used_ - at);
            if (done < 0 && errno == EINTR) continue;
            good_ = done > 0;
            if (good_) at += static_cast<std::size_t>(done);
        }
        used_ = 0;
        return good_;
    }

 private:
    int descriptor_;
    char buffer_[4096];
    std::size_t used_ = 0;
    bool good_ = true;
};

}  // namespace

CrashNotice::CrashNotice(const Procedure& procedure, TextFile* file, std::vector<ReportModule> modules)
    : procedure_(procedure.source.name), file_(file), modules_(std::move(modules)) {
    std::vector<Diagnostic> diagnostics;
    for (const CommandUse& use : procedure.commands)
        diagnostics.push_back({Severity::error, use.place, nameOf(use) + ": " + happened, {}});
    // In the order of the report's tasks.
    for (const PipeDeclaration& pipe : procedure.pipes)
        if (pipe.definition)
            diagnostics.push_back(
                {Severity::error, pipe.place, pipe.name + " = " + pipe.definedAs + ": " + happened, {}});
    blocks_ = render(diagnostics, procedure.source);
    // Each block is the line with the message, the command's own and the one with the caret.
    std::string_view left = blocks_;
    while (!left.empty()) {
        const std::size_t before = left.find(happened);
        std::size_t end = before;
        for (int line = 0; line < 3; ++line) end = left.find('\n', end) + 1;
        parts_.push_back({left.substr(0, before), left.substr(before + 1, end - before - 1)});
        left.remove_prefix(end);
    }
}

// False when it could not be written.
bool CrashNotice::writeReport(const Report& report) {
    if (file_ == nullptr) return true;
    DescriptorSink sink(file_->descriptor());
    writeJson(report, modules_, sink);
    return sink.flush() && file_->publishFromHandler();
}

void CrashNotice::end(Report& report, std::size_t task) {
    DescriptorSink message(STDERR_FILENO);
    message.write(parts_[task].before);
    message.write(report.tasks[task].text);
    message.write(parts_[task].after);
    message.write(remedy);
    message.flush();
    report.procedure.swap(procedure_);
    if (!writeReport(report)) {
        message.write("zepl: error: the report cannot be written\n");
        message.flush();
    }
    removeTemporaryFiles();
    ::_exit(runFailed);
}

void endOfLoading(const std::string& module, const char* what) {
    DescriptorSink message(STDERR_FILENO);
    for (const std::string_view part :
         {std::string_view("zepl: error: the module "), std::string_view(module), std::string_view(" "),
          std::string_view(what),
          std::string_view(" while it was loaded\n  it is a fault of the module: report it to its author\n")})
        message.write(part);
    message.flush();
    removeTemporaryFiles();
    ::_exit(wrongCall);
}

}  // namespace cli
