// Triggers for tasks.

#include "host/triggers.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

namespace {

// Removes what the reader has not yet taken of the samples before `position`, as far as they are there or, with `wait`, all.
void removeBefore(Engine& e, PipePort& port, std::uint32_t position, bool wait) {
    for (;;) {
        const auto taken = static_cast<std::uint32_t>(port.readPosition - port.openPosition);
        const auto left = static_cast<std::int32_t>(position - taken);
        if (left <= 0) return;
        if (port.available() == 0) {
            noteUnderrun(e, port);
            if (!wait) return;
            waitForElements(e, port, 1);
        }
        skipElements(e, port, std::min<std::uint64_t>(static_cast<std::uint64_t>(left), port.available()));
    }
}

// Waits for an event, resumed in each round all the same, since the status alone can move on too.
void pollForEvent(Engine& e, TriggerPort& port) {
    noteUnderrun(e, port);
    Task& task = *port.task;
    e.scheduler.pushReady(task);
    task.state = TaskState::waitingForEvent;
    task.waitingAt = &port;
    switchAway(e);
}

}  // namespace

void trigger_open(TriggerHandle trigger, OpenMode mode) {
    Engine& e = running();
    openPort(e, triggerPort(e, trigger), portMode(mode));
}

std::int32_t trigger_num(TriggerHandle trigger) {
    Engine& e = running();
    TriggerPort& port = readingPort(e, trigger);
    if (port.available() == 0) noteUnderrun(e, port);
    return countFor(port.available());
}

std::uint32_t trigger_get(TriggerHandle trigger) {
    Engine& e = running();
    TriggerPort& port = readingPort(e, trigger);
    if (port.available() == 0) waitForElements(e, port, 1);
    return readEvent(e, port);
}

std::uint32_t trigger_get_immediate(TriggerHandle trigger, std::int32_t* flag) {
    Engine& e = running();
    TriggerPort& port = readingPort(e, trigger);
    *flag = port.available() > 0 ? 1 : 0;
    if (*flag != 0) return readEvent(e, port);
    noteUnderrun(e, port);
    return readStatus(e, port);
}

std::uint32_t trigger_get_status(TriggerHandle trigger) {
    Engine& e = running();
    return readStatus(e, triggerPort(e, trigger));
}

void trigger_put(TriggerHandle trigger, std::uint32_t position) {
    Engine& e = running();
    writeEvent(e, writingPort(e, trigger), position);
}

void trigger_set_status(TriggerHandle trigger, std::uint32_t position) {
    Engine& e = running();
    TriggerPort& port = triggerPort(e, trigger);
    // What a reader says here frees nothing: it holds back only what it has not read.
    if (port.mode == PortMode::writing) advanceStatus(e, *port.channel, position);
}

void trigger_updt_put(TriggerHandle trigger, std::uint32_t count) {
    Engine& e = running();
    TriggerPort& port = writingPort(e, trigger);
    writeEvent(e, port, port.channel->status + count);
}

void trigger_updt_status(TriggerHandle trigger, std::uint32_t count) {
    Engine& e = running();
    TriggerPort& port = triggerPort(e, trigger);
    if (port.mode == PortMode::writing) advanceStatus(e, *port.channel, port.channel->status + count);
}

std::uint32_t trigger_wait(TriggerHandle trigger, PipeHandle pipe, std::uint32_t, std::uint32_t) {
    Engine& e = running();
    TriggerPort& events = readingPort(e, trigger);
    PipePort& samples = readingPort(e, pipe);
    while (events.available() == 0) {
        removeBefore(e, samples, readStatus(e, events) + 1, false);
        pollForEvent(e, events);
    }
    const std::uint32_t position = readEvent(e, events);
    removeBefore(e, samples, position, true);
    return position;
}

std::uint32_t trigger_get_opmode(TriggerHandle trigger) { return triggerPort(running(), trigger).channel->mode; }

std::uint32_t trigger_get_property(TriggerHandle trigger, std::uint32_t selector) {
    const auto& properties = triggerPort(running(), trigger).channel->properties;
    const auto found = properties.find(selector);
    return found == properties.end() ? 0 : found->second;
}

}  // namespace zepl
