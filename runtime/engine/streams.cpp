#include "runtime/engine/streams.h"

#include <algorithm>
#include <utility>

#include "runtime/engine/inputs.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr std::chrono::milliseconds flushInterval(50);

template <class Step>
void forEachStream(Engine& e, Step step) {
    e.graph.forEachOutput([&](auto& output) {
        OutputFile* file = output.sink != nullptr ? output.sink->file() : nullptr;
        if (file != nullptr && file->isStream()) naming(e, output, [&] { step(*file); });
    });
}

// Sleeps until one of them is ready, or something is asked for, or a stop is requested.
void awaitSources(Engine& e, const std::vector<Source*>& sources) {
    if (!e.outside.arm()) return;
    std::vector<int> descriptors{e.outside.wake.descriptor()};
    for (Source* source : sources) {
        if (!source->arm()) break;
        descriptors.push_back(source->descriptor());
    }
    if (descriptors.size() == sources.size() + 1) awaitAny(descriptors);
    for (std::size_t i = 0; i + 1 < descriptors.size(); ++i) sources[i]->disarm();
    e.outside.disarm();
}

bool anyReady(const std::vector<Source*>& sources) {
    return std::any_of(sources.begin(), sources.end(), [](const Source* source) { return source->ready(); });
}

}  // namespace

void startStreams(Engine& e) {
    if (std::exchange(e.streams.started, true)) return;
    forEachStream(e, [](OutputFile& file) { file.start(); });
    for (PipeInput& input : e.graph.pipeInputs)
        if (input.source != nullptr) naming(e, *input.pipe, [&] { input.source->start(); });
}

void stopStreams(Engine& e) {
    for (PipeInput& input : e.graph.pipeInputs)
        if (input.source != nullptr) input.source->stop();
}

void flushStreams(Engine& e) {
    if (!e.streams.hasOutputs) return;
    forEachStream(e, [](OutputFile& file) { file.flush(); });
    e.streams.lastFlush = std::chrono::steady_clock::now();
}

void flushStreamsInTime(Engine& e) {
    if (std::chrono::steady_clock::now() - e.streams.lastFlush >= flushInterval) flushStreams(e);
}

bool awaitLiveInputs(Engine& e) {
    if (!e.activity.isLiveInputAwaited(e.scheduler.round)) return false;
    updateRoom(e);
    std::vector<Source*> awaited;
    for (PipeInput& input : e.graph.pipeInputs)
        if (!input.ended && hasRoom(*input.pipe) && !input.ready()) awaited.push_back(input.source.get());
    if (awaited.empty()) return false;
    flushStreams(e);
    showTaps(e, true);
    while (!e.stopRequested() && !serveOutside(e) && !anyReady(awaited)) awaitSources(e, awaited);
    return true;
}

}  // namespace libzepl
