// Parameter lists in a few characters, for commands that take many parameters of many kinds.
#pragma once

#include <sstream>

#include "tests/support/session_support.h"

namespace libzepl {

// "5 -7l 0.5 0.5f i16 i32 f32 f64 v5 WORD": an int16, an int32, a double and a float constant, new pipes of the four
// types, a float vector of five zeros, and a text.
inline std::vector<TaskArgument> argumentsIn(TestSession& session, const std::string& list) {
    std::vector<TaskArgument> arguments;
    std::istringstream words(list);
    const std::string types = "i16 i32 f32 f64";  // in the order of allElementTypes
    for (std::string word; words >> word;) {
        char* rest = nullptr;
        const double number = std::strtod(word.c_str(), &rest);
        const std::size_t type = types.find(word);
        if (word.size() == 3 && type % 4 == 0)
            arguments.push_back(session.use(session.pipe(word, {}, allElementTypes[type / 4])));
        else if (word[0] == 'v' && word.size() == 2)
            arguments.push_back(session.use(session.addVector(
                word, ElementType::float32, bytesOf(std::vector<float>(static_cast<std::size_t>(word[1] - '0'))))));
        else if (rest == word.c_str())
            arguments.push_back(textConstant(word));
        else if (*rest == 'l')
            arguments.push_back(int32Constant(static_cast<std::int32_t>(number)));
        else if (*rest == 'f')
            arguments.push_back(floatConstant(static_cast<float>(number)));
        else if (word.find_first_of(".en") != std::string::npos)
            arguments.push_back(doubleConstant(number));
        else
            arguments.push_back(int16Constant(static_cast<std::int16_t>(number)));
    }
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
        EXPECT_EQ(outcome.starts_with(error) ? outcome.substr(error.size()) : outcome, one.substr(0, colon)) << one;
    }
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
