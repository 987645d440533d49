// The outputs of a session: what its channels are written to, or collected in.

#include <algorithm>
#include <utility>

#include "runtime/engine/flow.h"
#include "runtime/session.h"
#include "runtime/session/collected.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

bool isCollected(const Pipe& pipe) { return pipe.keepsAll; }
bool isCollected(const Trigger&) { return false; }

template <class ChannelType>
void checkNoOutput(const ChannelType& channel) {
    if (channel.hasOwnOutput || isCollected(channel))
        throw Problem(libzepl::quoted(channel.name) + " has an output already",
                      "collect each channel once, or give it one sink");
}

template <class ChannelType>
void notifyOutputs(ChannelType& channel) {
    channel.hasOutput = true;
    channel.notifyOnWrite = true;
}

// Adds an output that reads the channel. Without a sink the session itself keeps what comes.
template <class Outputs, class ChannelType, class SinkPointer>
void addReadingOutput(Outputs& outputs, ChannelType& channel, SinkPointer sink, std::optional<std::uint64_t> limit) {
    checkNoOutput(channel);
    auto& output = outputs.emplace_back();
    output.port.channel = &channel;
    channel.hasOwnOutput = true;
    notifyOutputs(channel);
    output.sink = std::move(sink);
    output.limit = limit;
}

template <class Sink>
void checkSink(const std::string& name, const std::unique_ptr<Sink>& sink) {
    if (sink == nullptr)
        throw Problem("the output of " + libzepl::quoted(name) + " is given no sink", "collect() needs none");
}

void checkMembers(Engine& e, const JointOutputSettings& settings) {
    if (settings.members.empty())
        throw Problem("the output " + libzepl::quoted(settings.name) + " is given no pipe", "give it at least one");
    for (const JointMember& member : settings.members)
        if (const Pipe& pipe = objectOf(e, member.pipe); member.channels == 0)
            throw Problem(libzepl::quoted(pipe.name) + " has no elements in a frame", "give it at least one");
}

constexpr const char* notCollected = " was not collected";

}  // namespace

void Session::setOutput(PipeId id, std::unique_ptr<Sink> sink, std::optional<std::uint64_t> limit) {
    Pipe& pipe = objectOf(unstarted(), id);
    checkSink(pipe.name, sink);
    addReadingOutput(engine_->graph.pipeOutputs, pipe, std::move(sink), limit);
}

void Session::setOutput(TriggerId id, std::unique_ptr<TriggerSink> sink, std::optional<std::uint64_t> limit) {
    Trigger& trigger = objectOf(unstarted(), id);
    checkSink(trigger.name, sink);
    addReadingOutput(engine_->graph.triggerOutputs, trigger, std::move(sink), limit);
}

void Session::setOutput(JointOutputSettings settings, std::unique_ptr<JointSink> sink) {
    Engine& e = unstarted();
    checkSink(settings.name, sink);
    checkMembers(e, settings);
    FrameOutput output;
    output.name = std::move(settings.name);
    output.isTable = settings.isTable;
    output.limit = settings.limit;
    for (const JointMember& member : settings.members) {
        Pipe& pipe = objectOf(e, member.pipe);
        output.members.emplace_back().port.channel = &pipe;
        output.members.back().channels = member.channels;
        notifyOutputs(pipe);
    }
    output.columns.resize(output.members.size());
    output.sink = std::move(sink);
    e.graph.frameOutputs.push_back(std::move(output));
}

void Session::noteRate(PipeId id, const UntoldRate& rate) {
    const Pipe& pipe = objectOf(unstarted(), id);
    for (PipeOutput& output : engine_->graph.pipeOutputs)
        if (output.port.channel == &pipe) output.untoldRate = rate;
}

void Session::noteJointRate(const UntoldRate& rate) { unstarted().graph.frameOutputs.back().untoldRate = rate; }

void Session::collect(PipeId id, std::optional<std::uint64_t> limit, std::uint64_t expected) {
    Engine& e = unstarted();
    Pipe& pipe = objectOf(e, id);
    if (limit || pipe.hasInitialElements) return setCollectedOutput(id, nullptr, limit);
    checkNoOutput(pipe);
    pipe.keepsAll = true;
    if (expected > 0 && !makeStorage(engine_->graph.memory, pipe, expected)) {
        pipe.keepsAll = false;
        throw Problem("no memory is left for the " + std::to_string(expected) + " elements of " +
                          libzepl::quoted(pipe.name) + " that are to be collected",
                      "expect fewer, or raise --memory");
    }
    engine_->graph.pipeOutputs.emplace_back().port.channel = &pipe;
}

void Session::collect(TriggerId id, std::optional<std::uint64_t> limit) {
    addReadingOutput(engine_->graph.triggerOutputs, objectOf(unstarted(), id), std::unique_ptr<TriggerSink>(), limit);
}

void Session::setCollectedOutput(PipeId id, std::unique_ptr<Sink> also, std::optional<std::uint64_t> limit,
                                 int channels) {
    Engine& e = unstarted();
    const Pipe& pipe = objectOf(e, id);
    if (channels < 1)
        throw Problem(libzepl::quoted(pipe.name) + " is collected by frames of " + std::to_string(channels) +
                          " elements, and 1 is the least",
                      "give the elements of a frame");
    setOutput(id, std::make_unique<MemorySink>(e.graph.memory, widthOf(pipe.type), channels, std::move(also)), limit);
}

void Session::setCollectedOutput(TriggerId id, std::unique_ptr<TriggerSink> also, std::optional<std::uint64_t> limit) {
    setOutput(id, std::make_unique<MemoryTriggerSink>(unstarted().graph.memory, std::move(also)), limit);
}

FramesId Session::setCollectedOutput(JointOutputSettings settings, std::unique_ptr<JointSink> also) {
    Engine& e = unstarted();
    checkMembers(e, settings);
    std::vector<MemoryFrames::Column> columns;
    for (const JointMember& member : settings.members) {
        const std::size_t width = widthOf(objectOf(e, member.pipe).type);
        columns.push_back({width * member.channels, width});
    }
    const bool together = !settings.isTable;
    setOutput(std::move(settings), std::make_unique<MemoryFrames>(e.graph.memory, columns, together, std::move(also)));
    return idOfLast<FramesId>(e, e.graph.frameOutputs);
}

std::span<const std::byte> Session::collectedMemory(PipeId id) const {
    const Pipe& pipe = objectOf(*engine_, id);
    for (const PipeOutput& output : engine_->graph.pipeOutputs) {
        if (output.port.channel != &pipe) continue;
        if (output.sink == nullptr) return {pipe.storage, pipe.writePosition << pipe.widthShift};
        if (const auto* sink = dynamic_cast<const MemorySink*>(output.sink.get())) return sink->bytes();
    }
    throw Problem(libzepl::quoted(pipe.name) + notCollected, "call collect() before the run");
}

std::vector<std::span<const std::byte>> Session::collectedFrames(FramesId id) const {
    const FrameOutput& output = objectOf(*engine_, id);
    if (const auto* sink = dynamic_cast<const MemoryFrames*>(output.sink.get())) return sink->pieces();
    throw Problem(libzepl::quoted(output.name) + notCollected, "set it by setCollectedOutput()");
}

std::vector<std::uint32_t> Session::collectedEvents(TriggerId id) const {
    const Trigger& trigger = objectOf(*engine_, id);
    for (const TriggerOutput& output : engine_->graph.triggerOutputs)
        if (output.port.channel == &trigger) {
            if (output.sink == nullptr) return output.events;
            if (const auto* sink = dynamic_cast<const MemoryTriggerSink*>(output.sink.get())) return sink->events();
        }
    throw Problem(libzepl::quoted(trigger.name) + notCollected, "call collect() before the run");
}

}  // namespace libzepl
