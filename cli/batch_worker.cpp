#include "cli/batch_worker.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/batch_frames.h"
#include "cli/batch_row.h"
#include "cli/pages.h"
#include "runtime/output_files.h"

namespace cli {

namespace {

using namespace libzepl;

extern "C" [[noreturn]] void endWorker(int signal) {
    removeTemporaryFiles();
    ::_exit(128 + signal);
}

// The terminal's signals reach every process of its group: the batch itself ends its workers.
void setSignals() {
    for (const int signal : {SIGINT, SIGHUP}) std::signal(signal, SIG_IGN);
    struct sigaction action {};
    action.sa_handler = endWorker;
    action.sa_flags = SA_ONSTACK;  // a task's own stack may be nearly used up
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGTERM, &action, nullptr);
}

// A text made without allocation.
class ShortText {
 public:
    ShortText& add(std::string_view text) {
        const std::size_t n = std::min(text.size(), text_.size() - size_);
        text.copy(text_.data() + size_, n);
        size_ += n;
        return *this;
    }
    ShortText& add(int number) {
        std::array<char, 16> digits;
        return add({digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr});
    }
    std::string_view text() const { return {text_.data(), size_}; }

 private:
    std::array<char, 4096> text_{};
    std::size_t size_ = 0;
};

std::string contentDigest(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::uint64_t digest = digestOf({});
    std::array<char, 65536> piece;
    while (file.read(piece.data(), piece.size()), file.gcount() > 0)
        digest = digestOf({piece.data(), static_cast<std::size_t>(file.gcount())}, digest);
    return hexOf(digest);
}

class Worker {
 public:
    Worker(const BatchPlan& plan, int descriptor) : plan_(plan), descriptor_(descriptor) {}

    void serve() {
        start();
        FrameReader reader;
        do
            while (const std::optional<Frame> frame = reader.next()) perform(*frame);
        while (!reader.isBroken() && reader.readFrom(descriptor_));
    }

 private:
    void start() {
        try {
            loadModules(library_, plan_.modules);
        } catch (const Problem& problem) {
            say(cannotStart, packed({problem.what(), problem.remedy()}));
            ::_exit(wrongCall);
        }
        std::vector<std::string> modules;
        for (const LoadedModule& module : library_.modules())
            modules.push_back(module.name + " " + versionText(module.buildVersion) + " " +
                              versionText(module.interfaceVersion) + " " + contentDigest(module.path));
        say(modulesLoaded, packed(modules));
    }

    void say(char kind, std::string_view content) const {
        if (!writeFrame(descriptor_, kind, content)) ::_exit(runFailed);  // nobody listens any more
    }

    void perform(const Frame& frame) {
        std::size_t index = 0;
        std::from_chars(frame.content.data(), frame.content.data() + frame.content.size(), index);
        if (index >= plan_.recordings.size()) return;
        const BatchRecording& recording = plan_.recordings[index];
        if (frame.kind == checkThis) return check(recording);
        const auto began = std::chrono::steady_clock::now();
        BatchRow row = guardedRun(recording);
        std::array<char, 32> text;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        row.seconds = {
            text.data(),
            std::to_chars(text.data(), text.data() + text.size(), took.count(), std::chars_format::fixed, 3).ptr};
        say(rowDone, packedRow(row));
    }

    // Makes room for what the recording gives: folders, and no remains of an earlier failure, so that its row depends on it alone.
    BindOptions optionsOf(const BatchRecording& recording) {
        for (const std::string& file : recording.outputs) {
            std::error_code none;
            std::filesystem::remove(withSuffix(file, ".failed"), none);
            const std::filesystem::path folder = std::filesystem::path(file).parent_path();
            std::error_code error;
            if (!folder.empty()) std::filesystem::create_directories(folder, error);
            if (error) throw Problem(folder.string() + ": the folder cannot be made: " + error.message());
        }
        BindOptions options = plan_.optionsOf(recording);
        options.session.crashed = [this](Report& report, std::size_t task) { sayCrash(report.tasks[task]); };
        return options;
    }

    BatchRow guardedRun(const BatchRecording& recording) {
        try {
            return run(recording);
        } catch (const std::bad_alloc&) {
            return badRow("failed", "the system has no more memory");
        } catch (const std::exception& error) {
            return badRow("failed", error.what());
        }
    }

    BatchRow run(const BatchRecording& recording) {
        std::vector<Diagnostic> diagnostics;
        BoundProcedure bound = bindProcedure(plan_.procedure, library_, optionsOf(recording), diagnostics);
        if (bound.session == nullptr) return badRow("failed", reasonOf(diagnostics));
        const Report report = bound.session->run();
        return rowOf(bound, report);
    }

    // In a signal's handler.
    [[noreturn]] void sayCrash(const TaskReport& task) const {
        ShortText text;
        if (task.line > 0) text.add("line ").add(task.line).add(": ");
        text.add(task.command).add(": ").add(task.text);
        writeFrame(descriptor_, crashed, text.text());
        endWorker(0);
    }

    void check(const BatchRecording& recording) {
        std::vector<Diagnostic> found;
        SourceText source = plan_.procedure.source;
        try {
            BindOptions options = optionsOf(recording);
            options.session.setUpOnly = true;
            options.session.cautions = pageCautions(library_, plan_.procedure);
            BoundProcedure bound = bindProcedure(plan_.procedure, library_, std::move(options), found);
            if (bound.session != nullptr)
                for (Diagnostic& each : diagnose(bound.procedure, bound.session->run(), bound.advice))
                    found.push_back(std::move(each));
        } catch (const std::exception& error) {
            found.push_back({Severity::error, {}, error.what(), {}});
        }
        std::vector<Diagnostic> mistakes, warnings;
        bool namesLine = false;
        for (const Diagnostic& each : found) {
            if (each.severity == Severity::error) mistakes.push_back(each);
            if (each.severity == Severity::warning || each.severity == Severity::caution) warnings.push_back(each);
            namesLine |= each.severity == Severity::error && each.place.line > 0;
        }
        say(checked, packed({render(mistakes, source), render(warnings, source), namesLine ? "line" : ""}));
    }

    const BatchPlan& plan_;
    int descriptor_;
    CommandLibrary library_;
};

}  // namespace

void runWorker(const BatchPlan& plan, int descriptor, const std::vector<int>& others, int parent) {
    setSignals();
    for (const int other : others) ::close(other);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() == parent) Worker(plan, descriptor).serve();
    removeTemporaryFiles();
    ::_exit(allWell);
}

}  // namespace cli
