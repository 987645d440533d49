#include "runtime/engine/run.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "runtime/engine/finish_outputs.h"
#include "runtime/engine/flow.h"
#include "runtime/engine/inputs.h"
#include "runtime/engine/lane_run.h"
#include "runtime/engine/outputs.h"
#include "runtime/engine/rounds.h"
#include "runtime/engine/streams.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// An input of the caller's memory that nothing else concerns is read where it is.
void useZeroCopy(PipeInput& input) {
    Pipe& pipe = *input.pipe;
    if (input.memory == nullptr || pipe.hasInitialElements || pipe.keepsAll || *input.length == 0) return;
    input.zeroCopy = true;
    pipe.storage = const_cast<std::byte*>(input.memory);  // only read: the input is the pipe's one writer
    pipe.mask = ~std::uint64_t{0} >> 1;
    pipe.storageLimit = ~std::uint64_t{0};
}

double rateOf(const Engine& e) {
    if (e.options.rate) return *e.options.rate;
    for (const PipeInput& input : e.graph.pipeInputs)
        if (input.source != nullptr && input.source->rate()) return *input.source->rate();
    return 1000;
}

void prepareInputs(Engine& e) {
    const FeedPolicy& feed = e.options.feed;
    const std::uint64_t chunk = feed.piece != 0 ? feed.piece : e.options.block;
    std::optional<std::uint64_t> seed;
    if (feed.kind == FeedPolicy::Kind::random) seed = feed.seed;
    const bool isLockstep = feed.kind == FeedPolicy::Kind::lockstep;
    // Frames: a run that keeps to the wall clock moves in steps that the eye does not see, unless pieces are asked for.
    const std::uint64_t most = e.pace.isOn() && feed.piece == 0 ? e.pace.framesOfPicture() : chunk;
    std::uint64_t number = 0;
    e.feed.inputsInMemory = e.graph.triggerInputs.empty() && !e.options.progress && !e.pace.isOn();
    for (PipeInput& input : e.graph.pipeInputs) {
        const std::uint64_t elements = isLockstep ? input.channels : std::min(chunk, most * input.channels);
        input.chunks = ChunkSizes(elements, seed, number++, 2 * std::uint64_t{e.options.block});
        useZeroCopy(input);
        e.feed.inputsInMemory = e.feed.inputsInMemory && input.zeroCopy;
    }
    for (TriggerInput& input : e.graph.triggerInputs)
        input.chunks = ChunkSizes(isLockstep ? 1 : chunk, seed, number++, 2 * std::uint64_t{e.options.block});
}

void countOutputs(Engine& e) {
    std::size_t place = 0;
    e.graph.forEachOutput([&](auto& output) { output.place = place++; });
}

void findStreams(Engine& e) {
    e.streams.hasLiveInputs =
        std::any_of(e.graph.pipeInputs.begin(), e.graph.pipeInputs.end(),
                    [](const PipeInput& input) { return input.source != nullptr && input.source->descriptor() >= 0; });
    e.graph.forEachOutput([&](const auto& output) {
        const OutputFile* file = output.sink != nullptr ? output.sink->file() : nullptr;
        e.streams.hasOutputs |= file != nullptr && file->isStream();
    });
}

void prepare(Engine& e) {
    e.outcome.began = e.feed.lastProgress = e.streams.lastFlush = std::chrono::steady_clock::now();
    findStreams(e);
    countOutputs(e);
    prepareInputs(e);
    allowSmallDrains(e);
    for (Pipe& pipe : e.graph.pipes) updateWriteLimit(e, pipe);
    for (Trigger& trigger : e.graph.triggers) updateWriteLimit(e, trigger);
    for (PipeOutput& output : e.graph.pipeOutputs)
        if (output.sink != nullptr) openPort(e, output.port, PortMode::reading);
    for (FrameOutput& output : e.graph.frameOutputs)
        for (FrameOutput::Member& member : output.members) openPort(e, member.port, PortMode::reading);
    for (TriggerOutput& output : e.graph.triggerOutputs) openPort(e, output.port, PortMode::reading);
}

void runTasks(Engine& e) {
    if (e.script != nullptr) e.script->begin(e);
    if (e.recorder != nullptr) e.recorder->begin(e);
    if (e.options.feed.kind == FeedPolicy::Kind::whole) {
        startStreams(e);
        deliverWhole(e);
    }
    startTasks(e);
    runRounds(e);
}

// Runs `step`; what it throws ends the run, unless it is the caller's.
template <class Step>
void guarded(Engine& e, Step step) {
    try {
        step();
    } catch (const Interrupted&) {
        e.outcome.end = RunEnd::stopped;
    } catch (const Problem& problem) {
        e.outcome.end = RunEnd::failed;
        e.outcome.reason = problem.what();
        e.outcome.remedy = problem.remedy();
    } catch (const std::bad_alloc&) {
        // The report needs some of what the tasks hold.
        for (Task& task : e.graph.tasks) task.releaseMemory();
        e.outcome.end = RunEnd::failed;
        e.outcome.reason = "the system has no more memory";
        e.outcome.remedy = "close other programs, or raise what a process may take (ulimit -v)";
    }
}

}  // namespace

void setClock(Engine& e) {
    e.timing.clock = VirtualClock(rateOf(e), e.options.startTime);
    e.pace.framesPerSecond = e.timing.clock.rate() * e.options.pace;
}

void runSession(Engine& e) { runSession(e, 1); }

bool runSession(Engine& e, unsigned jobs) {
    const CurrentEngine guard(e);
    const WaitScope waiting(
        e.ownStop, [&e] { flushStreams(e); }, e.options.stop.get());
    prepare(e);
    std::optional<Partition> partition;
    if (jobs > 1 && canRunInLanes(e)) partition.emplace(e.graph, jobs);
    const bool isWhole = !partition || partition->count() < 2;
    bool isVoid = false;
    guarded(e, [&] {
        if (isWhole) {
            runTasks(e);
            holdEnd(e);
        } else {
            isVoid = !runLanes(e, *partition);
        }
        if (e.outcome.consoleError != nullptr) std::rethrow_exception(std::exchange(e.outcome.consoleError, nullptr));
    });
    stopStreams(e);
    if (isVoid) return false;
    const bool wasWell = e.outcome.end != RunEnd::failed;
    writeUnwritten(e);
    // One engine can have written it sooner.
    if (!isWhole && wasWell && e.outcome.end == RunEnd::failed) return false;
    if (e.recorder != nullptr) e.recorder->end(e);
    notePace(e);
    finishOutputs(e);
    return true;
}

}  // namespace libzepl
