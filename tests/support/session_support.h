// Sessions in a few words: the installed commands and the probe's, loaded once; channels by name; tasks by their scripts.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "runtime/session.h"

namespace libzepl {

using Lines = std::vector<std::string>;
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;  // for typed tests
using State = TaskReport::State;

// The installed commands and the probe's.
const CommandLibrary& testLibrary();

template <class Element>
std::vector<std::byte> bytesOf(const std::vector<Element>& elements) {
    std::vector<std::byte> bytes(elements.size() * sizeof(Element));
    if (!bytes.empty()) std::memcpy(bytes.data(), elements.data(), bytes.size());
    return bytes;
}

// first, first + 1, ... `count` of them.
inline std::vector<std::int32_t> countUp(std::size_t count, std::int32_t first = 0) {
    std::vector<std::int32_t> values(count);
    for (std::int32_t& value : values) value = first++;
    return values;
}

// A session that knows what was added by its name, so that a call can name it.
class TestSession : public Session {
 public:
    explicit TestSession(SessionOptions options = {}) : Session(testLibrary(), std::move(options)) {}

    PipeId pipe(const std::string& name, std::optional<std::uint64_t> capacity = {},
                ElementType type = ElementType::int32) {
        return named(name, addPipe({.name = name, .type = type, .capacity = capacity}));
    }
    PipeId loop(const std::string& name, const std::vector<std::int32_t>& starts) {
        return named(name, addPipe({.name = name, .type = ElementType::int32, .starts = bytesOf(starts)}));
    }
    TriggerId addTrigger(const std::string& name) { return named(name, Session::addTrigger(name)); }
    VariableId addVariable(const std::string& name, ElementType type, const void* value) {
        return named(name, Session::addVariable(name, type, value));
    }
    VectorId addVector(const std::string& name, ElementType type, std::vector<std::byte> elements) {
        return named(name, Session::addVector(name, type, std::move(elements)));
    }
    void define(const std::string& name, TaskArgument argument) { defined_[name] = std::move(argument); }
    const std::map<std::string, TaskArgument>& defined() const { return defined_; }
    template <class Element>
    PipeId input(std::string name, std::vector<Element> elements, std::optional<std::uint64_t> capacity = {}) {
        const PipeId id = pipe(std::move(name), capacity, elementTypeOf<Element>());
        feed<Element>(id, std::move(elements));
        return id;
    }
    PipeId output(std::string name, std::optional<std::uint64_t> limit = {}, ElementType type = ElementType::int32) {
        const PipeId id = pipe(std::move(name), {}, type);
        collect(id, limit);
        return id;
    }

    // A task; its line is its number. The script's parameters count from 2.
    template <class... Given>
    void task(std::string command, const Given&... given) {
        addTask({.command = std::move(command), .arguments = {argument(given)...}, .line = ++line_});
    }
    template <class... Given>
    void script(std::string steps, const Given&... given) {
        task("SCRIPT", textConstant(std::move(steps)), given...);
    }

 private:
    template <class Id>
    Id named(const std::string& name, Id id) {
        define(name, use(id));
        return id;
    }
    static TaskArgument argument(const TaskArgument& given) { return given; }
    template <class Id>
    TaskArgument argument(const Id& id) const {
        return use(id);
    }

    std::map<std::string, TaskArgument> defined_;
    int line_ = 0;
};

// What scripts print that run side by side and are all given the same.
template <class... Given>
Lines printed(TestSession& session, std::initializer_list<const char*> scripts, const Given&... given) {
    for (const char* steps : scripts) session.script(steps, given...);
    return session.run().console;
}

// Takes int32 elements and notes whether it was finished.
struct SinkLog {
    std::vector<std::int32_t> elements;
    int finished = 0;
};
class LogSink : public Sink {
 public:
    explicit LogSink(SinkLog& log) : log_(log) {}
    void write(const void* from, std::size_t count) override {
        const auto* first = static_cast<const std::int32_t*>(from);
        log_.elements.insert(log_.elements.end(), first, first + count);
    }
    void finish() override { ++log_.finished; }

 private:
    SinkLog& log_;
};

// "error code 5 at 2" for each task: its state, and what it ended with.
inline Lines statesOf(const Report& report) {
    Lines lines;
    for (const TaskReport& task : report.tasks) {
        std::string line(nameOf(task.state));
        if (task.code) line += " code " + std::to_string(*task.code);
        if (task.index) line += " at " + std::to_string(*task.index);
        if (task.exit) line += " exit " + std::to_string(*task.exit);
        lines.push_back(line);
    }
    return lines;
}

}  // namespace libzepl
