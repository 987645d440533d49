// A task as one line of text, with parameters of all kinds.
#pragma once

#include <sstream>

#include "tests/support/session_support.h"

namespace libzepl {

// Adds the task of a call such as "TAND $ $ 25": its arguments are the ones given (where a `$` stands), int16 constants,
// constants of other types (`5l` int32, `5f` float, `5d` double), texts without blanks (`"a`), words of the host's
// (`@1`), and new triggers (t), pipes (s l f d) and variables (v int16, w int32).
inline void addCall(TestSession& session, const std::string& call, const std::vector<TaskArgument>& given = {}) {
    std::istringstream words(call);
    TaskSettings task;
    words >> task.command;
    const std::int64_t zero = 0;
    auto next = given.begin();
    for (std::string word; words >> word;) {
        const std::string name = "p" + std::to_string(task.arguments.size());
        const auto letter = std::string("slfd").find(word.back());
        const ElementType type = letter < 4 ? allElementTypes[letter] : ElementType::int16;
        const bool isNumber = word[0] == '-' || (word[0] >= '0' && word[0] <= '9');
        const double value = isNumber ? std::stod(word) : 0;
        task.arguments.push_back(word == "$"      ? *next++
                                 : word == "t"    ? session.use(session.addTrigger(name))
                                 : word == "v"    ? session.use(session.addVariable(name, ElementType::int16, &zero))
                                 : word == "w"    ? session.use(session.addVariable(name, ElementType::int32, &zero))
                                 : word[0] == '@' ? hostWord(std::stoi(word.substr(1)))
                                 : word[0] == '"' ? textConstant(word.substr(1))
                                 : !isNumber      ? session.use(session.pipe(name, {}, type))
                                 : type == ElementType::int16   ? int16Constant(static_cast<std::int16_t>(value))
                                 : type == ElementType::int32   ? int32Constant(static_cast<std::int32_t>(value))
                                 : type == ElementType::float32 ? floatConstant(static_cast<float>(value))
                                                                : doubleConstant(value));
    }
    session.addTask(std::move(task));
}

inline std::string repeated(const std::string& word, std::size_t times) {
    std::string words;
    for (std::size_t i = 0; i < times; ++i) words += " " + word;
    return words;
}

}  // namespace libzepl
