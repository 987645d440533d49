// Parameter lists in a few characters, for commands that take many parameters of many kinds.
#pragma once

#include <sstream>

#include "tests/support/session_support.h"

namespace libzepl {

inline TaskArgument constant(std::int16_t value) { return int16Constant(value); }
inline TaskArgument constant(std::int32_t value) { return int32Constant(value); }
inline TaskArgument constant(float value) { return floatConstant(value); }
inline TaskArgument constant(double value) { return doubleConstant(value); }

// "[1,-2]": a vector of int16, and "[1,-2]l": one of int32.
inline TaskArgument vectorIn(TestSession& session, const std::string& word) {
    std::vector<std::int16_t> elements;
    for (const char* at = word.c_str(); at[1] != '\0' && at[1] != ']';) {
        char* rest = nullptr;
        elements.push_back(static_cast<std::int16_t>(std::strtol(at + 1, &rest, 10)));
        at = rest;
    }
    const std::vector<std::int32_t> wide(elements.begin(), elements.end());
    return session.use(word.back() == 'l' ? session.addVector(word, ElementType::int32, bytesOf(wide))
                                          : session.addVector(word, ElementType::int16, bytesOf(elements)));
}

inline TaskArgument constantIn(const std::string& word, double number, char last) {
    if (last == 'l') return int32Constant(static_cast<std::int32_t>(number));
    if (last == 'f') return floatConstant(static_cast<float>(number));
    if (word.find_first_of(".en") != std::string::npos) return doubleConstant(number);
    return int16Constant(static_cast<std::int16_t>(number));
}

inline TaskArgument argumentIn(TestSession& session, const std::string& word) {
    const std::size_t type = std::string("i16 i32 f32 f64").find(word);  // in the order of allElementTypes
    if (word.size() == 3 && type % 4 == 0) return session.use(session.pipe(word, {}, allElementTypes[type / 4]));
    if (word == "inside" || word == "outside") return hostWord(word == "inside" ? 0 : 1);
    if (word == "event") return session.use(session.addTrigger(word));
    if (word[0] == '[') return vectorIn(session, word);
    if (word[0] == '\'') return declaredWord(word.substr(1));
    if (word[0] == 'v' && word.size() == 2)
        return session.use(session.addVector(word, ElementType::float32,
                                             bytesOf(std::vector<float>(static_cast<std::size_t>(word[1] - '0')))));
    if (word[0] == '=') {
        const std::int32_t value = std::stoi(word.substr(1));  // whose start is the int16
        return session.use(
            session.addVariable(word, word.back() == 'l' ? ElementType::int32 : ElementType::int16, &value));
    }
    char* rest = nullptr;
    const double number = std::strtod(word.c_str(), &rest);
    return rest == word.c_str() ? textConstant(word) : constantIn(word, number, *rest);
}

// "5 -7l 0.5 0.5f i16 i32 f32 f64 =5 =5l [5,-7] v5 event inside 'FULL WORD": an int16, an int32, a double and a float
// constant, new pipes of the four types, an int16 and an int32 variable, a vector, a float vector of five zeros, a trigger,
// one of the host's words `inside` and `outside`, a word of a set in the signature, and a text.
inline std::vector<TaskArgument> argumentsIn(TestSession& session, const std::string& list) {
    std::vector<TaskArgument> arguments;
    std::istringstream words(list);
    for (std::string word; words >> word;) arguments.push_back(argumentIn(session, word));
    return arguments;
}

// Each case tells what the set-up of the command comes to with a list: "ready: 1 2 i16; refused at 1: f32", and, of a set-up
// error with its code, "5 at 2: 1 -1 i16".
inline void expectSetUps(const std::string& command, const std::string& cases) {
    std::istringstream text(cases);
    for (std::string one; std::getline(text >> std::ws, one, ';');) {
        const std::size_t colon = one.find(':');
        TestSession session({.setUpOnly = true});
        session.addTask({.command = command, .arguments = argumentsIn(session, one.substr(colon + 1))});
        const Report report = session.run();
        const std::string outcome = report.status == Report::Status::ok ? "ready" : statesOf(report)[0];
        const std::string error = "error code ";
        EXPECT_EQ(outcome.starts_with(error) ? outcome.substr(error.size()) : outcome, one.substr(0, colon))
            << command << one;
    }
}

// Parameters as a list in words or as they are.
struct ParameterList {
    ParameterList(const char* words) : list(words) {}
    ParameterList(std::string words) : list(std::move(words)) {}
    ParameterList(std::vector<TaskArgument> ready = {}) : arguments(std::move(ready)) {}
    ParameterList(std::initializer_list<TaskArgument> ready) : arguments(ready) {}

    void addTo(std::vector<TaskArgument>& all, TestSession& session) const {
        for (const auto& some : {argumentsIn(session, list), arguments})
            all.insert(all.end(), some.begin(), some.end());
    }

    std::string list;
    std::vector<TaskArgument> arguments;
};

// What `command (source, before..., result, behind...)` makes of the source. The task's state goes to `*state`, if wanted,
// and else must be that it goes on.
template <class Result, class Element>
std::vector<Result> resultOf(const std::string& command, const std::vector<Element>& source,
                             const ParameterList& before = {}, const ParameterList& behind = {},
                             const SessionOptions& options = {}, std::string* state = nullptr) {
    TestSession session(options);
    const PipeId from = session.input("source", source), to = session.output("result", {}, elementTypeOf<Result>());
    std::vector<TaskArgument> arguments{session.use(from)};
    before.addTo(arguments, session);
    arguments.push_back(session.use(to));
    behind.addTo(arguments, session);
    session.addTask({.command = command, .arguments = arguments});
    const std::string outcome = statesOf(session.run())[0];
    if (state != nullptr)
        *state = outcome;
    else
        EXPECT_TRUE(outcome == "waiting" || outcome == "running")
            << outcome << " is " << command << " " << before.list << " " << behind.list;
    return session.collected<Result>(to);
}

// The first `n` samples that the command, given these parameters and `dest` behind them, generates.
template <class Element>
std::vector<Element> generated(const std::string& command, const std::string& list, std::size_t n,
                               const SessionOptions& options = {}) {
    TestSession session(options);
    const PipeId dest = session.output("dest", n, elementTypeOf<Element>());
    std::vector<TaskArgument> arguments = argumentsIn(session, list);
    arguments.push_back(session.use(dest));
    session.addTask({.command = command, .arguments = arguments});
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok) << command << " " << list << ": " << statesOf(report)[0];
    return session.collected<Element>(dest);
}

}  // namespace libzepl
