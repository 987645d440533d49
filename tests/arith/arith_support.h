// Element-wise commands in a session of their own: their output for an input, and what becomes of a parameter list.
#pragma once

#include <regex>

#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {

template <class Element>
constexpr Element least = std::numeric_limits<Element>::min();
template <class Element>
constexpr Element most = std::numeric_limits<Element>::max();

// Each element of the source must become what `definition` makes of it, to the bit.
template <class Element, class Definition>
void expectEach(const std::string& call, const std::vector<Element>& source, Definition definition) {
    std::vector<Element> expected;
    for (const Element x : source) expected.push_back(static_cast<Element>(definition(x)));
    const auto want = bitsOf(expected), have = bitsOf(resultOf<Element>(call, source)), from = bitsOf(source);
    ASSERT_EQ(have.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i)
        ASSERT_EQ(have[i], want[i]) << call << " of bits " << std::hex << from[i];
}

// What the call writes to `out` of int32 elements that a script lets through one by one; the variable `v` starts as 2.
// `steps` has `pass` for one element, and `set` for a new value of the variable.
inline std::vector<std::int32_t> withVariable(const std::string& call, const std::vector<std::int32_t>& source,
                                              const std::string& steps, const char* state = "waiting") {
    TestSession session;
    const PipeId from = session.input("from", source), in = session.pipe("in"), out = session.output("out");
    const std::int32_t start = 2;
    const VariableId v = session.addVariable("v", ElementType::int32, &start);
    const std::string script = std::regex_replace(steps, std::regex("pass"), "move:2,3 task_switch");
    session.script("open_read:2 open_write:3 " + std::regex_replace(script, std::regex("set"), "store:4"), from, in, v);
    addCall(session, call);
    EXPECT_EQ(statesOf(session.run())[1], state);
    return session.collected<std::int32_t>(out);
}

}  // namespace libzepl
