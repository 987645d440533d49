#include "cli/batch.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include "cli/batch_plan.h"
#include "cli/batch_pool.h"
#include "cli/batch_table.h"
#include "cli/progress.h"
#include "cli/signals.h"
#include "cli/standard_streams.h"
#include "runtime/json_writer.h"
#include "runtime/output_files.h"
#include "runtime/procedure.h"
#include "runtime/wording.h"

namespace cli {

namespace {

using namespace libzepl;

constexpr std::size_t maxListed = 100;

unsigned jobsOf(const BatchArguments& arguments) {
    return arguments.jobs > 0 ? arguments.jobs : std::max(1U, std::thread::hardware_concurrency());
}

class StandardOutput : public TextSink {
 public:
    void write(std::string_view text) override { print(text); }
};

void writeList(JsonWriter& json, std::string_view name, const std::vector<std::string>& texts) {
    json.key(name);
    json.beginList();
    for (const std::string& text : texts) json.value(text);
    json.end();
}

int listPlan(const BatchPlan& plan) {
    StandardOutput output;
    JsonWriter json(output);
    json.beginObject();
    writeList(json, "inputs", plan.inputs);
    writeList(json, "outputs", plan.outputs);
    writeList(json, "shared", sharedFiles(plan));
    writeList(json, "notes", plan.notes);
    json.key("recordings");
    json.beginList();
    for (const BatchRecording& recording : plan.recordings) {
        json.beginObject();
        writeList(json, "inputs", recording.inputs);
        writeList(json, "outputs", recording.outputs);
        json.end();
    }
    json.end();
    json.end();
    print("\n");
    return allWell;
}

class Batch {
 public:
    Batch(const BatchArguments& arguments, const BatchPlan& plan, const StopRequest& stop)
        : arguments_(arguments),
          plan_(plan),
          stop_(stop),
          pool_(plan, jobsOf(arguments), stop),
          table_(plan),
          line_(!arguments.run.quiet) {}

    int run() {
        const std::string setup = setupOf(plan_, arguments_, pool_.modules());
        if (stop_.requested()) return statusOfSignal();
        BatchJournal journal(plan_, setup);
        std::map<std::size_t, BatchRow> kept;
        if (arguments_.resume) kept = journal.unchanged();
        std::vector<std::size_t> left;
        for (std::size_t i = 0; i < plan_.recordings.size(); ++i)
            if (!kept.contains(i)) left.push_back(i);
        if (arguments_.check && isRefused(left)) return wrongCall;
        if (stop_.requested()) return statusOfSignal();
        if (!arguments_.resume) journal.clear();
        kept_ = kept.size();
        table_.begin(std::move(kept));
        runAll(left, journal);
        table_.finish(arguments_.run.sync);
        return tellEnd();
    }

 private:
    // What can be read once is not read for a check.
    static bool isStreamed(const BatchRecording& recording) {
        return std::any_of(recording.inputs.begin(), recording.inputs.end(),
                           [](const auto& file) { return isStream(file); });
    }

    // Where the first recordings are refused for the same reason, in a line of the procedure, so would be all.
    bool isRefused(const std::vector<std::size_t>& left) {
        constexpr std::size_t most = 3;
        BatchCheck last;
        for (std::size_t i = 0; i < std::min(most, left.size()); ++i) {
            if (isStreamed(plan_.recordings[left[i]])) return false;
            const std::optional<BatchCheck> found = pool_.check(left[i]);
            if (!found || found->mistakes.empty()) {
                if (found && !arguments_.run.quiet) std::fputs(found->warnings.c_str(), stderr);
                return false;
            }
            if (!found->namesLine || (i > 0 && found->mistakes != last.mistakes)) return false;
            last = *found;
        }
        std::fputs(last.mistakes.c_str(), stderr);
        return !last.mistakes.empty();
    }

    void runAll(const std::vector<std::size_t>& left, BatchJournal& journal) {
        const auto began = std::chrono::steady_clock::now();
        const auto done = [&](std::size_t recording, BatchRow row) {
            journal.add(recording, row);
            if (!row.isGood()) ++bad_;
            table_.add(recording, std::move(row));
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - began;
            showProgress(passed.count());
        };
        pool_.run(left, [&](std::size_t recording) { journal.noteBegin(recording); }, done, {journal.descriptor()});
        line_.clear();
    }

    void showProgress(double seconds) {
        const std::size_t done = table_.rows().size(), all = plan_.recordings.size();
        std::string text = std::to_string(done) + " of " + counted(all, "recording");
        if (bad_ > 0) text += ", " + std::to_string(bad_) + " bad";
        const double each = seconds / static_cast<double>(done - kept_);
        line_.show(text + ", " + durationText(each * static_cast<double>(all - done)) + " left");
    }

    int tellEnd() {
        const std::size_t done = table_.rows().size(), all = plan_.recordings.size();
        if (!arguments_.run.quiet) {
            if (kept_ > 0)
                std::fprintf(stderr, "note: %s unchanged, and not run again\n",
                             (counted(kept_, "recording") + (kept_ == 1 ? " is" : " are")).c_str());
            std::fprintf(stderr, "wrote %s: %s\n", plan_.table.c_str(), counted(done, "row").c_str());
        }
        listBad();
        if (!stop_.requested()) return bad_ > 0 ? runFailed : allWell;
        std::fprintf(stderr, "zepl: error: stopped on request after %zu of %s\n  --resume continues it\n", done,
                     counted(all, "recording").c_str());
        return statusOfSignal();
    }

    void listBad() const {
        if (bad_ == 0) return;
        std::fprintf(stderr, "zepl: error: %zu of %s failed\n", bad_,
                     counted(table_.rows().size(), "recording").c_str());
        std::size_t listed = 0;
        for (const auto& [recording, row] : table_.rows()) {
            if (row.isGood()) continue;
            if (++listed > maxListed) {
                std::fprintf(stderr, "  and %zu more, in %s\n", bad_ - maxListed, plan_.table.c_str());
                return;
            }
            std::fprintf(stderr, "  %s: %s: %s\n", plan_.recordings[recording].inputs[0].c_str(), row.status.c_str(),
                         row.notes.c_str());
        }
    }

    const BatchArguments& arguments_;
    const BatchPlan& plan_;
    const StopRequest& stop_;
    WorkerPool pool_;
    BatchTable table_;
    ProgressLine line_;
    std::size_t kept_ = 0, bad_ = 0;
};

}  // namespace

int batch(const BatchArguments& arguments) {
    const std::shared_ptr<StopRequest> stop = catchSignals();
    std::vector<Diagnostic> diagnostics;
    BindOptions options = bindOptions(arguments.run, false, diagnostics);
    if (hasErrors(diagnostics)) {
        std::fputs(render(diagnostics, {"zepl", {}}).c_str(), stderr);
        return wrongCall;
    }
    Procedure procedure = parseProcedure({arguments.run.procedure, readTextFile(arguments.run.procedure)}, diagnostics);
    const SourceText source = procedure.source;
    BatchPlan plan;
    if (!hasErrors(diagnostics)) plan = planOf(arguments, std::move(procedure), std::move(options), diagnostics);
    std::fputs(render(diagnostics, source).c_str(), stderr);
    if (hasErrors(diagnostics)) return wrongCall;
    if (arguments.list) return listPlan(plan);
    if (!arguments.run.quiet)
        for (const std::string& note : plan.notes) std::fprintf(stderr, "note: %s\n", note.c_str());
    try {
        return Batch(arguments, plan, *stop).run();
    } catch (const WorkerNotStarted&) {
        return wrongCall;
    }
}

}  // namespace cli
