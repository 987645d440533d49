// A run from its first task to its report.

#include <algorithm>
#include <utility>

#include "runtime/engine/flow.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// Makes this engine the thread's own while it lives.
class CurrentEngine {
 public:
    explicit CurrentEngine(Engine& e) : outer_(engine) { engine = &e; }
    CurrentEngine(const CurrentEngine&) = delete;
    CurrentEngine& operator=(const CurrentEngine&) = delete;
    ~CurrentEngine() { engine = outer_; }

 private:
    Engine* outer_;
};

// An input of the caller's memory that nothing else concerns is read where it stands.
void borrowMemory(PipeInput& input) {
    Pipe& pipe = *input.pipe;
    if (input.memory == nullptr || pipe.hasStarts || pipe.retains || *input.length == 0) return;
    input.borrows = true;
    pipe.storage = const_cast<std::byte*>(input.memory);  // only read: the input is the pipe's one writer
    pipe.mask = ~std::uint64_t{0} >> 1;
    pipe.storageUntil = ~std::uint64_t{0};
}

double rateOf(const Engine& e) {
    if (e.options.rate) return *e.options.rate;
    for (const PipeInput& input : e.pipeInputs)
        if (input.source != nullptr && input.source->rate()) return *input.source->rate();
    return 1000;
}

void prepareInputs(Engine& e) {
    const FeedPolicy& feed = e.options.feed;
    const std::uint64_t piece = feed.piece != 0 ? feed.piece : e.options.block;
    std::optional<std::uint64_t> seed;
    if (feed.kind == FeedPolicy::Kind::random) seed = feed.seed;
    std::uint64_t number = 0;
    e.inputsStandInMemory = e.triggerInputs.empty() && !e.options.progress;
    for (PipeInput& input : e.pipeInputs) {
        input.pieces = PieceSizes(piece, seed, number++, 2 * std::uint64_t{e.options.block});
        borrowMemory(input);
        e.inputsStandInMemory = e.inputsStandInMemory && input.borrows;
    }
    for (TriggerInput& input : e.triggerInputs)
        input.pieces = PieceSizes(piece, seed, number++, 2 * std::uint64_t{e.options.block});
}

template <class Outputs>
bool anyStream(const Outputs& outputs) {
    return std::any_of(outputs.begin(), outputs.end(), [](const auto& output) {
        const OutputFile* file = output.sink != nullptr ? output.sink->file() : nullptr;
        return file != nullptr && file->isStream();
    });
}

void findStreams(Engine& e) {
    e.hasLiveInputs = std::any_of(e.pipeInputs.begin(), e.pipeInputs.end(), [](const PipeInput& input) {
        return input.source != nullptr && input.source->descriptor() >= 0;
    });
    e.hasStreamOutputs = anyStream(e.pipeOutputs) || anyStream(e.triggerOutputs);
}

}  // namespace

Report Engine::run() {
    const CurrentEngine guard(*this);
    const WaitScope waiting(*stop, [this] { flushStreams(); });
    began = lastProgress = lastFlush = std::chrono::steady_clock::now();
    findStreams(*this);
    prepareForCrash();
    clock = VirtualClock(rateOf(*this), options.startTime);
    prepareInputs(*this);
    for (Pipe& pipe : pipes) lookAtReaders(*this, pipe);
    for (Trigger& trigger : triggers) lookAtReaders(*this, trigger);
    for (PipeOutput& output : pipeOutputs)
        if (output.sink != nullptr) openEnd(*this, output.end, EndMode::reading);
    for (TriggerOutput& output : triggerOutputs) openEnd(*this, output.end, EndMode::reading);
    try {
        if (options.feed.kind == FeedPolicy::Kind::whole) deliverWhole();
        for (Task& task : tasks)
            if (end == RunEnd::goesOn) startTask(task);
        roundLeft = readyCount;
        runRounds();
        if (consoleError != nullptr) std::rethrow_exception(std::exchange(consoleError, nullptr));
    } catch (const Interrupted&) {
        end = RunEnd::stopped;
    } catch (const Problem& problem) {
        end = RunEnd::failed;
        reason = problem.what();
        remedy = problem.remedy();
    } catch (const std::bad_alloc&) {
        // The report needs some of what the tasks hold.
        for (Task& task : tasks) task.giveMemoryBack();
        end = RunEnd::failed;
        reason = "the system has no more memory";
        remedy = "close other programs, or raise what a process may take (ulimit -v)";
    }
    finishOutputs();
    Report report = makeReport();
    for (Task& task : tasks) releaseTask(task);
    return report;
}

}  // namespace libzepl
