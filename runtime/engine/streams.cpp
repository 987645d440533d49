#include "runtime/engine/streams.h"

#include "runtime/engine/inputs.h"
#include "runtime/files/output_file.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

constexpr std::chrono::milliseconds flushInterval(50);

// Sleeps until one of them is ready, or a stop is requested.
void awaitSources(const std::vector<Source*>& sources) {
    std::vector<int> descriptors;
    for (Source* source : sources) {
        if (!source->arm()) break;
        descriptors.push_back(source->descriptor());
    }
    if (descriptors.size() == sources.size()) awaitAny(descriptors);
    for (std::size_t i = 0; i < descriptors.size(); ++i) sources[i]->disarm();
}

}  // namespace

void flushStreams(Engine& e) {
    if (!e.streams.hasOutputs) return;
    e.graph.forEachOutput([](const auto& output) {
        OutputFile* file = output.sink != nullptr ? output.sink->file() : nullptr;
        if (file != nullptr && file->isStream()) file->flush();
    });
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
    awaitSources(awaited);
    return true;
}

}  // namespace libzepl
