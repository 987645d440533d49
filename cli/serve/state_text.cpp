#include "cli/serve/state_text.h"

#include <variant>

#include "runtime/json_writer.h"

namespace cli {

namespace {

using libzepl::JsonWriter;
using libzepl::Snapshot;

class StringSink : public libzepl::TextSink {
 public:
    void write(std::string_view text) override { text_ += text; }
    std::string taken() { return std::move(text_); }

 private:
    std::string text_;
};

// An object with its type, and what `fill` puts into it.
template <class Fill>
std::string message(std::string_view type, const Fill& fill) {
    StringSink sink;
    JsonWriter json(sink);
    json.beginObject();
    json.pair("type", type);
    fill(json);
    json.end();
    return sink.taken();
}

std::string_view nameOf(RunState::Phase phase) {
    constexpr std::string_view names[]{"starting", "running", "paused", "stopping", "ended", "refused"};
    return names[static_cast<std::size_t>(phase)];
}

std::string_view nameOf(Snapshot::Task::State state) {
    constexpr std::string_view names[]{
        "ready", "waiting for samples", "waiting for an event", "waiting for room", "pausing", "ended"};
    return names[static_cast<std::size_t>(state)];
}

// A flag as 1 or 0: the writer has numbers and texts.
std::uint32_t flag(bool is) { return is ? 1 : 0; }

template <class List, class Put>
void list(JsonWriter& json, std::string_view name, const List& items, const Put& put) {
    json.key(name);
    json.beginList();
    for (const auto& item : items) {
        json.beginObject();
        put(item);
        json.end();
    }
    json.end();
}

void putLists(JsonWriter& json, const RunState& state) {
    list(json, "tasks", state.snapshot.tasks, [&](const Snapshot::Task& task) {
        json.pair("command", std::string_view(task.command));
        json.pair("line", task.line);
        json.pair("element", task.element);
        json.pair("state", nameOf(task.state));
        json.pair("text", std::string_view(task.text));
        json.pair("read", task.read);
        json.pair("written", task.written);
    });
    list(json, "pipes", state.snapshot.pipes, [&](const Snapshot::Pipe& pipe) {
        json.pair("name", std::string_view(pipe.name));
        json.pair("elements", libzepl::nameOf(pipe.type));
        json.pair("written", pipe.written);
        json.pair("unread", pipe.unread);
        json.pair("capacity", pipe.capacity);
    });
    list(json, "triggers", state.snapshot.triggers, [&](const libzepl::TriggerReport& trigger) {
        json.pair("name", std::string_view(trigger.name));
        json.pair("asserted", trigger.asserted);
        json.pair("status", trigger.status);
    });
    const auto putValue = [&](std::string_view name, const libzepl::VariableReport& variable) {
        json.key(name);
        std::visit([&](auto value) { json.value(value); }, variable.value);
    };
    std::size_t index = 0;
    list(json, "variables", state.snapshot.variables, [&](const libzepl::VariableReport& variable) {
        json.pair("name", std::string_view(variable.name));
        json.pair("elements", libzepl::nameOf(variable.type));
        putValue("value", variable);
        if (index < state.starts.size()) putValue("starts", state.starts[index]);
        ++index;
    });
}

}  // namespace

std::string helloText(std::string_view procedure) {
    return message("hello", [&](JsonWriter& json) {
        json.pair("protocol", 1);
        json.pair("procedure", procedure);
    });
}

std::string stateText(const RunState& state) {
    return message("state", [&](JsonWriter& json) {
        json.pair("run", state.run);
        json.pair("phase", nameOf(state.phase));
        json.pair("status", std::string_view(state.status));
        json.pair("text", std::string_view(state.text));
        json.pair("current", flag(state.snapshot.isCurrent));
        json.pair("round", state.snapshot.round);
        json.pair("frames", state.snapshot.frames);
        json.pair("rate", state.snapshot.rate);
        json.pair("seconds", state.snapshot.seconds);
        putLists(json, state);
    });
}

std::string consoleText(std::string_view printed) {
    return message("console", [&](JsonWriter& json) { json.pair("text", printed); });
}

std::string errorText(std::string_view text) {
    return message("error", [&](JsonWriter& json) { json.pair("text", text); });
}

std::string eventsText(const Watching& watching, std::size_t trigger, std::uint64_t from, std::uint64_t to) {
    const Events& events = watching.eventsOf(trigger);
    return message("events", [&](JsonWriter& json) {
        json.pair("run", watching.run());
        json.pair("trigger", std::uint64_t{trigger});
        json.pair("first", from);
        json.key("positions");
        json.beginList();
        for (std::uint64_t number = from; number < to; ++number)
            json.value(events.positions[static_cast<std::size_t>(number - events.first)]);
        json.end();
    });
}

}  // namespace cli
