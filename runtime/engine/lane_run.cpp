#include "runtime/engine/lane_run.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

#include "runtime/engine/lanes.h"
#include "runtime/engine/rounds.h"
#include "runtime/engine/scheduler.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

// Its parts stand as the whole session does, which is prepared.
void prepare(Lane& lane) {
    Engine& e = lane.engine;
    const Engine& whole = *e.whole;
    e.outcome.began = e.feed.lastProgress = whole.outcome.began;
    e.timing.clock = whole.timing.clock;
    e.streams.drainsSmall = whole.streams.drainsSmall;
    e.crashed = whole.crashed;
    if (whole.options.progress)
        e.options.progress = [&lane](const Progress& progress) { lane.delivered = progress.delivered; };
    e.feed.inputsInMemory = !whole.options.progress;
    for (const PipeInput& input : e.graph.pipeInputs) e.feed.inputsInMemory = e.feed.inputsInMemory && input.zeroCopy;
}

void run(Lane& lane) noexcept {
    Engine& e = lane.engine;
    const CurrentEngine guard(e);
    const WaitScope waiting(e.whole->ownStop, {}, e.options.stop.get());
    try {
        startTasks(e);
        runRounds(e);
    } catch (const Interrupted&) {
        e.outcome.finish(RunEnd::stopped);
    } catch (...) {
        e.outcome.finish(RunEnd::failed);  // as one engine will say
    }
    lane.lanes.leave(lane);
}

// Those that the system gives no thread end at once.
std::vector<std::jthread> started(Lanes& lanes) {
    std::vector<std::jthread> threads;
    for (const auto& lane : lanes.all()) {
        try {
            threads.emplace_back([&each = *lane] { run(each); });
        } catch (const std::system_error&) {
            lanes.abandon();
            lanes.leave(*lane);
        }
    }
    return threads;
}

void reportProgress(const Engine& whole, const Lanes& lanes) {
    Progress progress;
    progress.expected = whole.graph.expectedElements();
    for (const auto& lane : lanes.all()) progress.delivered += lane->delivered;
    const auto ran = std::chrono::steady_clock::now() - whole.outcome.began;
    progress.seconds = std::chrono::duration<double>(ran).count();
    whole.options.progress(progress);
}

}  // namespace

// What comes from outside reaches all parts of a session in one round, and so does the end of a run whose outputs all have
// their limits.
bool canRunInLanes(Engine& e) {
    const FeedPolicy::Kind feed = e.options.feed.kind;
    const bool isFedByRounds = feed == FeedPolicy::Kind::pieces || feed == FeedPolicy::Kind::random;
    const bool isOpenToOutside = e.streams.hasLiveInputs || e.streams.hasOutputs || e.pace.isOn() ||
                                 e.outside.isAsked() || e.watches.any() || e.script != nullptr || e.recorder != nullptr;
    bool anyOutput = false, allLimited = true;
    e.graph.forEachOutput([&](const auto& output) {
        anyOutput = true;
        allLimited = allLimited && output.limit;
    });
    // Events come with the frames of the input that is furthest on.
    const bool sharesInputs = e.graph.sharesSources || !e.graph.triggerInputs.empty();
    const bool endsByLimits = anyOutput && allLimited;
    return isFedByRounds && !isOpenToOutside && !endsByLimits && !sharesInputs && !e.options.setUpOnly;
}

bool runLanes(Engine& e, Partition& partition) {
    e.graph.memory.countAll();
    Lanes lanes(e, partition, drawConclusions);
    for (const auto& lane : lanes.all()) prepare(*lane);
    std::exception_ptr thrown;
    {
        const std::vector<std::jthread> threads = started(lanes);
        try {
            lanes.awaitEnd(e.options.progress ? [&] { reportProgress(e, lanes); } : std::function<void()>());
        } catch (...) {
            thrown = std::current_exception();
            lanes.abandon();
        }
    }
    e.setUpDone =
        std::all_of(lanes.all().begin(), lanes.all().end(), [](const auto& lane) { return lane->engine.setUpDone; });
    if (thrown != nullptr) std::rethrow_exception(thrown);
    e.outcome.finish(RunEnd::stopped);  // unless it has come to its end
    return !lanes.isVoid();
}

}  // namespace libzepl
