// The outputs of a session: what its channels are written to, or collected in.

#include <algorithm>
#include <utility>

#include "runtime/engine/flow.h"
#include "runtime/session.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

// Collects into memory, for an output with a limit.
class MemorySink : public Sink {
 public:
    MemorySink(MemoryBudget& budget, std::size_t width) : budget_(budget), width_(width) {}
    void write(const void* from, std::size_t count) override {
        const auto* bytes = static_cast<const std::byte*>(from);
        const std::size_t size = bytes_.size() + count * width_;
        if (size > bytes_.capacity()) grow(std::max(size, 2 * bytes_.capacity()));
        bytes_.insert(bytes_.end(), bytes, bytes + count * width_);
    }
    void finish() override {}
    const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
    void grow(std::size_t capacity) {
        Charge charge;
        if (!charge.reserve(budget_, costOf(capacity)))
            throw Problem("no memory is left for what is to be collected", "raise --memory");
        bytes_.reserve(capacity);
        charge_ = std::move(charge);
    }

    MemoryBudget& budget_;
    Charge charge_;
    std::size_t width_;
    std::vector<std::byte> bytes_;
};

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
    if (settings.members.empty())
        throw Problem("the output " + libzepl::quoted(settings.name) + " is given no pipe", "give it at least one");
    FrameOutput output;
    output.name = std::move(settings.name);
    output.isTable = settings.isTable;
    output.limit = settings.limit;
    for (const JointMember& member : settings.members) {
        Pipe& pipe = objectOf(e, member.pipe);
        if (member.channels == 0)
            throw Problem(libzepl::quoted(pipe.name) + " has no elements in a frame", "give it at least one");
        output.members.emplace_back().port.channel = &pipe;
        output.members.back().channels = member.channels;
        notifyOutputs(pipe);
    }
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
    if (limit || pipe.hasInitialElements)
        return setOutput(id, std::make_unique<MemorySink>(e.graph.memory, widthOf(pipe.type)), limit);
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

const std::byte* Session::collectedBytes(PipeId id, std::uint64_t& count) const {
    const Pipe& pipe = objectOf(*engine_, id);
    for (const PipeOutput& output : engine_->graph.pipeOutputs) {
        if (output.port.channel != &pipe) continue;
        if (output.sink == nullptr) {
            count = pipe.writePosition;
            return pipe.storage;
        }
        if (const auto* sink = dynamic_cast<const MemorySink*>(output.sink.get())) {
            count = sink->bytes().size() >> pipe.widthShift;
            return sink->bytes().data();
        }
    }
    throw Problem(libzepl::quoted(pipe.name) + " was not collected", "call collect() before the run");
}

std::vector<std::uint32_t> Session::collectedEvents(TriggerId id) const {
    const Trigger& trigger = objectOf(*engine_, id);
    for (const TriggerOutput& output : engine_->graph.triggerOutputs)
        if (output.port.channel == &trigger && output.sink == nullptr) return output.events;
    throw Problem(libzepl::quoted(trigger.name) + " was not collected", "call collect() before the run");
}

}  // namespace libzepl
