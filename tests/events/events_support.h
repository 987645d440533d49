// Triggers from lists of events. Positions stand as counts that don't wrap, so that a test's own search needs no modular
// arithmetic; what commands give is compared in 32 bits.
#pragma once

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/session_support.h"

namespace libzepl {

using Counts = std::vector<std::int64_t>;
using Positions = std::vector<std::uint32_t>;

constexpr std::int64_t wrapCount = std::int64_t{1} << 32;

inline Positions wrapped(const Counts& counts) {
    Positions positions;
    for (const std::int64_t count : counts) positions.push_back(static_cast<std::uint32_t>(count));
    return positions;
}

// Events between 0 and `end`, one in `spacing` on the average, with a stretch of every other and with repeats.
inline Counts randomEvents(std::uint64_t seed, std::int64_t end, int spacing) {
    std::mt19937_64 random(seed);
    Counts events;
    for (std::int64_t at = 0; at < end;
         at += static_cast<std::int64_t>(random() % 8 == 0 ? 0 : random() % (2 * static_cast<unsigned>(spacing))))
        events.push_back(at);
    return events;
}

// The same events around the wrap of the count, behind some that lead there.
inline Counts aroundTheWrap(const Counts& events) {
    Counts moved;
    for (std::int64_t at = wrapCount / 8 - 1; at < wrapCount - 1000; at += wrapCount / 8) moved.push_back(at);
    for (const std::int64_t event : events) moved.push_back(event + wrapCount - 500);
    return moved;
}

// The rows of a trigger file, with a status before some of the events, and one at the end.
inline std::vector<TriggerRow> rowsOf(const Counts& events, std::int64_t end) {
    std::vector<TriggerRow> rows;
    const auto row = [&](bool asserts, std::int64_t at) {
        rows.push_back({.asserts = asserts, .position = static_cast<std::uint32_t>(at)});
    };
    for (std::int64_t last = -1; const std::int64_t at : events) {
        if (at % 3 != 0 && at - 1 > last) row(false, at - 1);
        row(true, last = at);
    }
    row(false, end);
    return rows;
}

// What became of a trigger.
struct Outcome {
    Positions events;
    std::uint32_t status;
    bool operator==(const Outcome&) const = default;
};

// Runs `command (sources..., between..., result, behind...)`.
inline Outcome outcomeOf(const std::string& command, const std::vector<std::vector<TriggerRow>>& sources,
                         FeedPolicy feed, const std::vector<TaskArgument>& between = {},
                         const std::vector<TaskArgument>& behind = {}) {
    TestSession session({.feed = feed});
    TaskSettings task{.command = command};
    for (const auto& rows : sources) {
        const TriggerId source = session.addTrigger("source " + std::to_string(task.arguments.size()));
        session.setInput(source, rows);
        task.arguments.push_back(session.use(source));
    }
    const TriggerId result = session.addTrigger("result");
    session.collect(result);
    task.arguments.insert(task.arguments.end(), between.begin(), between.end());
    task.arguments.push_back(session.use(result));
    task.arguments.insert(task.arguments.end(), behind.begin(), behind.end());
    session.addTask(std::move(task));
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok);
    return {session.collectedEvents(result), report.triggers.back().status};
}

inline Outcome wholeOutcome(const std::string& command, const std::vector<std::vector<TriggerRow>>& sources,
                            const std::vector<TaskArgument>& between = {},
                            const std::vector<TaskArgument>& behind = {}) {
    return outcomeOf(command, sources, {.kind = FeedPolicy::Kind::whole}, between, behind);
}

// Runs it with lists of events that arrive in every way; `search` gives the events expected of it.
template <class Search>
void expectFoundUntil(std::int64_t end, const std::string& command, const std::vector<Counts>& sources, Search search,
                      const std::vector<TaskArgument>& between = {}, const std::vector<TaskArgument>& behind = {}) {
    std::vector<std::vector<TriggerRow>> rows;
    for (const Counts& events : sources) rows.push_back(rowsOf(events, end));
    const Outcome outcome =
        sameForEveryArrival(16, [&](FeedPolicy feed) { return outcomeOf(command, rows, feed, between, behind); });
    EXPECT_EQ(outcome.events, wrapped(search(sources))) << command << " until " << end;
    EXPECT_EQ(outcome.status, static_cast<std::uint32_t>(end)) << command << " until " << end;
}

// The same for events before 1500, and then for them around the wrap.
template <class Search>
void expectFound(const std::string& command, const std::vector<Counts>& sources, Search search,
                 const std::vector<TaskArgument>& between = {}, const std::vector<TaskArgument>& behind = {}) {
    expectFoundUntil(2000, command, sources, search, between, behind);
    std::vector<Counts> moved;
    for (const Counts& events : sources) moved.push_back(aroundTheWrap(events));
    expectFoundUntil(wrapCount + 1500, command, moved, search, between, behind);
}

// The state of a task with these parameters: t a trigger, s l f d a pipe, v w an int16 or int32 variable, `in` the host's
// word, `5` an int16, `5l` `5f` `5d` constants of other types.
inline std::string stateWith(const std::string& command, const std::string& parameters) {
    TestSession session({.setUpOnly = true});
    TaskSettings task{.command = command};
    std::istringstream words(parameters);
    const std::int64_t zero = 0;
    int number = 0;
    for (std::string word; words >> word;) {
        const std::string name = "p" + std::to_string(++number);
        const auto letter = std::string("slfd").find(word.back());
        const auto type = letter < 4 ? allElementTypes[letter] : ElementType::int16;
        const bool isNumber = word[0] == '-' || (word[0] >= '0' && word[0] <= '9');
        const double value = isNumber ? std::stod(word) : 0;
        TaskArgument argument;
        if (isNumber)
            argument = type == ElementType::int16     ? int16Constant(static_cast<std::int16_t>(value))
                       : type == ElementType::int32   ? int32Constant(static_cast<std::int32_t>(value))
                       : type == ElementType::float32 ? floatConstant(static_cast<float>(value))
                                                      : doubleConstant(value);
        else if (word == "t")
            argument = session.use(session.addTrigger(name));
        else if (word == "in")
            argument = hostWord(0);
        else if (word == "v" || word == "w")
            argument =
                session.use(session.addVariable(name, word == "v" ? ElementType::int16 : ElementType::int32, &zero));
        else
            argument = session.use(session.pipe(name, {}, type));
        task.arguments.push_back(argument);
    }
    session.addTask(std::move(task));
    return statesOf(session.run())[0];
}

}  // namespace libzepl
