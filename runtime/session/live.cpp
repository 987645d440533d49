// What other threads have of a session: inputs, values, taps, snapshots, and a thread of its own.

#include "runtime/live.h"

#include <algorithm>
#include <bit>
#include <system_error>

#include "runtime/engine/outside.h"
#include "runtime/live/ring_source.h"
#include "runtime/report/snapshot.h"
#include "runtime/session/session_ids.h"
#include "runtime/session/session_thread.h"

namespace libzepl {

namespace {

template <class Objects>
std::optional<std::size_t> placeNamed(const Objects& objects, std::string_view name) {
    for (std::size_t i = 0; i < objects.size(); ++i)
        if (objects[i].name == name) return i;
    return {};
}

template <class Id, class Objects>
std::optional<Id> idNamed(const Engine& e, const Objects& objects, std::string_view name) {
    const std::optional<std::size_t> place = placeNamed(objects, name);
    if (!place) return {};
    return idAt<Id>(e, *place);
}

void checkSettings(const std::string& name, const WatchSettings& settings) {
    if (settings.elements > maxWatched || settings.columns > maxWatched)
        throw Problem("a tap of " + libzepl::quoted(name) + " that keeps " +
                          std::to_string(std::max(settings.elements, settings.columns)) +
                          " is too large: " + std::to_string(maxWatched) + " is the most",
                      "keep fewer, or look more often");
    if (settings.elements == 0 && settings.columns == 0)
        throw Problem("a tap of " + libzepl::quoted(name) + " is to keep nothing",
                      "ask for the last elements, for columns, or for both");
    if (settings.columns > 0 && settings.perColumn == 0)
        throw Problem("the columns of a tap of " + libzepl::quoted(name) + " have no elements",
                      "give the elements of a column: perColumn");
}

// What the session's thread attaches; where the run has ended, it has nothing to see but the end.
template <class ChannelType>
std::shared_ptr<TapState> attached(Engine& e, ChannelType& channel, ElementType type, const WatchSettings& settings) {
    checkSettings(channel.name, settings);
    auto state = std::make_shared<TapState>(type, settings);
    if (!e.outside.ask([&channel, state](Engine& asked) { attachTap(asked, channel, state); })) state->finish();
    return state;
}

}  // namespace

std::optional<PipeId> Session::findPipe(std::string_view name) const {
    return idNamed<PipeId>(*engine_, engine_->graph.pipes, name);
}

std::optional<TriggerId> Session::findTrigger(std::string_view name) const {
    return idNamed<TriggerId>(*engine_, engine_->graph.triggers, name);
}

std::optional<VariableId> Session::findVariable(std::string_view name) const {
    return idNamed<VariableId>(*engine_, engine_->graph.variables, name);
}

LiveInput& Session::feedLive(PipeId id, std::size_t capacity, int channels) {
    Engine& e = unstarted();
    Pipe& pipe = objectOf(e, id);
    const std::size_t most = e.graph.memory.limit() / widthOf(pipe.type);
    Charge charge;
    if (capacity == 0 || capacity > most ||
        !charge.reserve(e.graph.memory, std::bit_ceil(capacity) * widthOf(pipe.type)))
        throw Problem(
            "the live input of " + libzepl::quoted(pipe.name) + " is to hold " + std::to_string(capacity) + " elements",
            "give a number from 1 on that the memory limit has room for");
    auto ring = std::make_shared<LiveRing>(capacity, widthOf(pipe.type));
    setInput(id, std::make_unique<RingSource>(ring, channels, std::nullopt));
    e.liveRings.push_back(ring);
    e.liveCharges.push_back(std::move(charge));
    return *liveInputs_.emplace_back(std::make_unique<LiveInput>(std::move(ring), pipe.type, pipe.name));
}

void Session::setNumber(VariableId id, const Number& value) {
    Variable& variable = objectOf(*engine_, id);
    if (!holds(variable.type, value)) {
        const Diagnostic mistake = notHeld(variable.type, value, textOf(value));
        throw Problem("the value of " + libzepl::quoted(variable.name) + ": " + mistake.message, mistake.remedy);
    }
    std::byte bytes[8]{};
    storeNumber(variable.type, value, bytes);
    Cell cell;
    storeCell(cell, variable.type, bytes);
    engine_->outside.ask([&variable, cell](Engine& e) {
        if (e.outcome.isRunning()) applyValue(e, variable, cell);
    });
}

void Session::setPaused(bool isPaused) {
    engine_->outside.ask([isPaused](Engine& e) { e.outside.isPaused = isPaused; });
}

Tap Session::watch(PipeId id, const WatchSettings& settings) {
    Pipe& pipe = objectOf(*engine_, id);
    return Tap(attached(*engine_, pipe, pipe.type, settings));
}

TriggerTap Session::watch(TriggerId id, std::size_t events) {
    return TriggerTap(attached(*engine_, objectOf(*engine_, id), ElementType::int32, {.elements = events}));
}

Snapshot Session::snapshot(std::chrono::milliseconds patience) const {
    return engine_->outside.snapshot(*engine_, makeSnapshot, patience);
}

void Session::start() {
    begin();
    try {
        thread_ = std::make_unique<SessionThread>([this] { return *runToEnd(1); });
    } catch (const std::system_error& error) {
        engine_->outside.end(*engine_);
        throw Problem(std::string("the system gives the session no thread: ") + error.what(),
                      "end other programs, or raise what a user may run (ulimit -u)");
    }
}

Report Session::wait() {
    if (thread_ == nullptr || !thread_->claimWait())
        throw Problem("the session is waited for, and was not started, or was waited for before",
                      "call start() before, and wait() once");
    return thread_->wait();
}

}  // namespace libzepl
