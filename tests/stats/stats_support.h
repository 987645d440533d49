// One command of statistics from a source in memory to a result in memory.
#pragma once

#include <sstream>
#include <string>
#include <utility>
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

// A parameter by its word: s, i, f, d are pipes of int16, int32, float, double; t is a trigger; 1.0 a double, 1.0f a float,
// other numbers are int16 where that holds them, else int32.
inline TaskArgument parameterOf(TestSession& session, const std::string& word) {
    const std::string pipes = "sifd";
    if (const auto type = pipes.find(word[0]); type != std::string::npos)
        return session.use(session.pipe(word + std::to_string(type), {}, allElementTypes[type]));
    if (word == "t") return session.use(session.addTrigger(word));
    if (word.find('.') != std::string::npos)
        return word.back() == 'f' ? floatConstant(std::stof(word)) : doubleConstant(std::stod(word));
    const int value = std::stoi(word);
    const auto narrow = static_cast<std::int16_t>(value);
    return narrow == value ? int16Constant(narrow) : int32Constant(value);
}

// Lists of parameters by what becomes of a command with them.
using Outcomes = std::vector<std::pair<const char*, std::vector<const char*>>>;

inline void expectOutcomes(const std::string& command, const Outcomes& outcomes) {
    for (const auto& [outcome, lists] : outcomes) {
        for (const char* list : lists) {
            TestSession session;
            Arguments arguments;
            std::istringstream words(list);
            for (std::string word; words >> word;) arguments.push_back(parameterOf(session, word));
            session.addTask({.command = command, .arguments = arguments, .line = 1});
            EXPECT_EQ(statesOf(session.run())[0], outcome) << command << " " << list;
        }
    }
}

constexpr std::int16_t int16Value(int value) { return static_cast<std::int16_t>(value); }

}  // namespace libzepl
