// One command of routing from a source in memory to a result in memory.
#pragma once

#include "tests/support/arrivals.h"
#include "tests/support/covered.h"
#include "tests/support/given.h"
#include "tests/support/samples.h"

namespace libzepl {

// What `command (source, list..., result)` makes of the source; the list as argumentsIn takes it.
template <class Element>
std::vector<Element> routed(const std::string& command, const std::vector<Element>& source, const std::string& list,
                            const SessionOptions& options = {}) {
    TestSession session(options);
    const PipeId from = session.input("source", source), to = session.output("result", {}, elementTypeOf<Element>());
    std::vector<TaskArgument> arguments = argumentsIn(session, list);
    arguments.insert(arguments.begin(), session.use(from));
    arguments.push_back(session.use(to));
    session.addTask({.command = command, .arguments = arguments});
    const Report report = session.run();
    EXPECT_EQ(statesOf(report), Lines{"waiting"}) << command << " " << list;
    return session.collected<Element>(to);
}

inline const std::map<std::uint32_t, std::uint32_t> noBlockTransfer{{30, 0}};

}  // namespace libzepl
