// One command of statistics from a source in memory to a result in memory.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {

using Arguments = std::vector<TaskArgument>;

// Runs `command (source, before..., result, behind...)`; gives the result, and the task's state to `*state`, if wanted,
// which else must be that it waits for more.
template <class Result, class Element>
std::vector<Result> resultOf(const std::string& command, const std::vector<Element>& source, const Arguments& before,
                             const Arguments& behind = {}, FeedPolicy feed = {}, std::string* state = nullptr) {
    TestSession session({.feed = feed});
    const PipeId from = session.input("source", source), to = session.output("result", {}, elementTypeOf<Result>());
    Arguments arguments{session.use(from)};
    arguments.insert(arguments.end(), before.begin(), before.end());
    arguments.push_back(session.use(to));
    arguments.insert(arguments.end(), behind.begin(), behind.end());
    session.addTask({.command = command, .arguments = arguments, .line = 1});
    const std::string outcome = statesOf(session.run())[0];
    if (state != nullptr)
        *state = outcome;
    else
        EXPECT_EQ(outcome, "waiting") << command;
    return session.collected<Result>(to);
}

// A parameter of a list that is refused: a pipe of a type, a trigger, or a constant.
struct ATrigger {};
using Parameter = std::variant<ElementType, ATrigger, std::int16_t, std::int32_t, float, double>;

// What becomes of a command with these parameters.
inline std::string outcomeOf(const std::string& command, const std::vector<Parameter>& parameters) {
    TestSession session;
    Arguments arguments;
    for (const Parameter& parameter : parameters) {
        const std::string name = "p" + std::to_string(arguments.size());
        if (const auto* type = std::get_if<ElementType>(&parameter))
            arguments.push_back(session.use(session.pipe(name, {}, *type)));
        else if (std::holds_alternative<ATrigger>(parameter))
            arguments.push_back(session.use(session.addTrigger(name)));
        else if (const auto* small = std::get_if<std::int16_t>(&parameter))
            arguments.push_back(int16Constant(*small));
        else if (const auto* large = std::get_if<std::int32_t>(&parameter))
            arguments.push_back(int32Constant(*large));
        else if (const auto* single = std::get_if<float>(&parameter))
            arguments.push_back(floatConstant(*single));
        else
            arguments.push_back(doubleConstant(std::get<double>(parameter)));
    }
    session.addTask({.command = command, .arguments = arguments, .line = 1});
    return statesOf(session.run())[0];
}

constexpr std::int16_t int16Value(int value) { return static_cast<std::int16_t>(value); }

struct ListCase {
    std::vector<Parameter> parameters;
    const char* outcome;
};

inline void expectOutcomes(const std::string& command, const std::vector<ListCase>& cases) {
    for (const ListCase& list : cases)
        EXPECT_EQ(outcomeOf(command, list.parameters), list.outcome) << command << " list " << &list - cases.data();
}

}  // namespace libzepl
