// Element-wise commands in a session of their own: their output for an input, and what becomes of a parameter list.
#pragma once

#include <optional>
#include <regex>

#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {

template <class Element>
constexpr Element least = std::numeric_limits<Element>::min();
template <class Element>
constexpr Element most = std::numeric_limits<Element>::max();

// Each element of the source must become what `definition` makes of it, to the bit.
template <class Element, class Definition>
void expectEach(const char* command, const std::vector<Element>& source, const ParameterList& given,
                Definition definition) {
    std::vector<Element> expected;
    for (const Element x : source) expected.push_back(static_cast<Element>(definition(x)));
    const auto want = bitsOf(expected), have = bitsOf(resultOf<Element>(command, source, given)), from = bitsOf(source);
    ASSERT_EQ(have.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(have[i], want[i]) << command << " of bits " << std::hex << from[i];
}

// What the command makes of int32 elements that a script lets through one by one. An empty place in `given` is a variable
// that starts as 2. `script` has `pass` for one element, and `set` for a new value of the variable.
inline std::vector<std::int32_t> withVariable(const char* command, const std::vector<std::int32_t>& source,
                                              const std::string& script,
                                              const std::vector<std::optional<std::int32_t>>& given,
                                              const char* state = "waiting") {
    TestSession session;
    const PipeId from = session.input("from", source), in = session.pipe("in"), out = session.output("out");
    const std::int32_t start = 2;
    const VariableId variable = session.addVariable("variable", ElementType::int32, &start);
    std::string steps = std::regex_replace(script, std::regex("pass"), "move:2,3 task_switch");
    steps = "open_read:2 open_write:3 " + std::regex_replace(steps, std::regex("set"), "store:4");
    session.script(steps, from, in, variable);
    TaskSettings task{.command = command, .arguments = {session.use(in)}};
    for (const auto& value : given) task.arguments.push_back(value ? int32Constant(*value) : session.use(variable));
    task.arguments.push_back(session.use(out));
    session.addTask(std::move(task));
    EXPECT_EQ(statesOf(session.run())[1], state);
    return session.collected<std::int32_t>(out);
}

}  // namespace libzepl
