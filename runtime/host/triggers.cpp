// Triggers for tasks.

#include "host/triggers.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

namespace {

// Removes what the reader has not yet taken of the samples before `position`, as far as they are there or, with `wait`, all.
void removeBefore(Engine& e, PipeEnd& end, std::uint32_t position, bool wait) {
    for (;;) {
        const auto taken = static_cast<std::uint32_t>(end.taken - end.opened);
        const auto left = static_cast<std::int32_t>(position - taken);
        if (left <= 0) return;
        if (end.available() == 0) {
            noteShort(e, end);
            if (!wait) return;
            waitForElements(e, end, 1);
        }
        dropElements(e, end, std::min<std::uint64_t>(static_cast<std::uint64_t>(left), end.available()));
    }
}

// Waits for an event, resumed in each round all the same, since the status alone can move on too.
void pollForEvent(Engine& e, TriggerEnd& end) {
    noteShort(e, end);
    Task& task = *end.task;
    e.pushReady(task);
    task.state = TaskState::waitingForEvent;
    task.waitingTrigger = &end;
    task.waitingPipe = nullptr;
    e.switchAway();
}

}  // namespace

void trigger_open(TriggerHandle trigger, OpenMode mode) {
    Engine& e = running();
    openEnd(e, triggerEnd(e, trigger), endMode(mode));
}

std::int32_t trigger_num(TriggerHandle trigger) {
    Engine& e = running();
    TriggerEnd& end = readingEnd(e, trigger);
    if (end.available() == 0) noteShort(e, end);
    return countFor(end.available());
}

std::uint32_t trigger_get(TriggerHandle trigger) {
    Engine& e = running();
    TriggerEnd& end = readingEnd(e, trigger);
    if (end.available() == 0) waitForElements(e, end, 1);
    return takeEvent(e, end);
}

std::uint32_t trigger_get_immediate(TriggerHandle trigger, std::int32_t* flag) {
    Engine& e = running();
    TriggerEnd& end = readingEnd(e, trigger);
    *flag = end.available() > 0 ? 1 : 0;
    if (*flag != 0) return takeEvent(e, end);
    noteShort(e, end);
    return takeStatus(e, end);
}

std::uint32_t trigger_get_status(TriggerHandle trigger) {
    Engine& e = running();
    return takeStatus(e, triggerEnd(e, trigger));
}

void trigger_put(TriggerHandle trigger, std::uint32_t position) {
    Engine& e = running();
    putEvent(e, writingEnd(e, trigger), position);
}

void trigger_set_status(TriggerHandle trigger, std::uint32_t position) {
    Engine& e = running();
    TriggerEnd& end = triggerEnd(e, trigger);
    // What a reader says here frees nothing: it holds back only what it has not read.
    if (end.mode == EndMode::writing) advanceStatus(e, *end.channel, position);
}

void trigger_updt_put(TriggerHandle trigger, std::uint32_t count) {
    Engine& e = running();
    TriggerEnd& end = writingEnd(e, trigger);
    putEvent(e, end, end.channel->status + count);
}

void trigger_updt_status(TriggerHandle trigger, std::uint32_t count) {
    Engine& e = running();
    TriggerEnd& end = triggerEnd(e, trigger);
    if (end.mode == EndMode::writing) advanceStatus(e, *end.channel, end.channel->status + count);
}

std::uint32_t trigger_wait(TriggerHandle trigger, PipeHandle pipe, std::uint32_t, std::uint32_t) {
    Engine& e = running();
    TriggerEnd& events = readingEnd(e, trigger);
    PipeEnd& samples = readingEnd(e, pipe);
    while (events.available() == 0) {
        removeBefore(e, samples, takeStatus(e, events) + 1, false);
        pollForEvent(e, events);
    }
    const std::uint32_t position = takeEvent(e, events);
    removeBefore(e, samples, position, true);
    return position;
}

std::uint32_t trigger_get_opmode(TriggerHandle trigger) { return triggerEnd(running(), trigger).channel->mode; }

std::uint32_t trigger_get_property(TriggerHandle trigger, std::uint32_t selector) {
    const auto& properties = triggerEnd(running(), trigger).channel->properties;
    const auto found = properties.find(selector);
    return found == properties.end() ? 0 : found->second;
}

}  // namespace zepl
