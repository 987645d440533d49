// Streams on both sides of a run: it waits for live inputs once nothing more can be computed, and lets the readers of its
// outputs have what is written.

#include "runtime/engine/flow.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr std::chrono::milliseconds flushInterval(50);

template <class Outputs>
void flushAll(const Outputs& outputs) {
    for (const auto& output : outputs) {
        OutputFile* file = output.sink != nullptr ? output.sink->file() : nullptr;
        if (file != nullptr && file->isStream()) file->flush();
    }
}

}  // namespace

void Engine::flushStreams() {
    if (!hasStreamOutputs) return;
    flushAll(pipeOutputs);
    flushAll(triggerOutputs);
    lastFlush = std::chrono::steady_clock::now();
}

void Engine::flushStreamsInTime() {
    if (std::chrono::steady_clock::now() - lastFlush >= flushInterval) flushStreams();
}

// Waits until a live input has something where only that is missing: for some rounds nothing was taken of what inputs gave,
// or nothing came for very many. Returns, too, when a stop is requested; false when there is nothing to wait for.
bool Engine::awaitLiveInputs() {
    if (round - std::max(lastFedTake, lastDelivery) < quietRounds && round - lastDelivery < recentRounds) return false;
    std::vector<int> awaited;
    for (PipeInput& input : pipeInputs)
        if (!input.ended && hasRoom(*this, *input.pipe) && !input.ready())
            awaited.push_back(input.source->descriptor());
    if (awaited.empty()) return false;
    flushStreams();
    awaitAny(awaited);
    return true;
}

}  // namespace libzepl
