// Commands of routing on streams in memory. Streams of different types are held alike, as the bits of their elements.
#pragma once

#include "tests/support/arrivals.h"
#include "tests/support/call.h"
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

template <class Element>
class Routed : public testing::Test {};
using Elements = testing::Types<std::int16_t, std::int32_t, float, double>;

inline const std::map<std::uint32_t, std::uint32_t> noBlockTransfer{{30, 0}};

struct Stream {
    ElementType type{};
    std::vector<std::uint64_t> bits;
    bool operator==(const Stream&) const = default;
};

template <class Element>
Stream streamOf(const std::vector<Element>& elements) {
    const auto bits = bitsOf(elements);
    return {elementTypeOf<Element>(), {bits.begin(), bits.end()}};
}

template <class Routine>
auto forType(ElementType type, Routine routine) {
    if (type == ElementType::int16) return routine.template operator()<std::int16_t>();
    if (type == ElementType::int32) return routine.template operator()<std::int32_t>();
    if (type == ElementType::float32) return routine.template operator()<float>();
    return routine.template operator()<double>();
}

inline Stream finiteStream(ElementType type, std::size_t count, std::uint64_t seed) {
    return forType(type, [&]<class Element> { return streamOf(randomSamples<Element>(count, seed)); });
}
inline Stream bitStream(ElementType type, std::size_t count, std::uint64_t seed) {
    return forType(type, [&]<class Element> { return streamOf(randomBits<Element>(count, seed)); });
}

inline PipeId inputOf(TestSession& session, const std::string& name, const Stream& stream) {
    return forType(stream.type, [&]<class Element> {
        std::vector<Element> elements(stream.bits.size());
        for (std::size_t i = 0; i < elements.size(); ++i) std::memcpy(&elements[i], &stream.bits[i], sizeof(Element));
        return session.input(name, elements);
    });
}
inline Stream outputOf(const TestSession& session, PipeId pipe, ElementType type) {
    return forType(type, [&]<class Element> { return streamOf(session.collected<Element>(pipe)); });
}

// Runs `command (source, a destination of each type...)`; gives what the destinations get.
inline std::vector<Stream> separated(const std::string& command, const Stream& source,
                                     const std::vector<ElementType>& types, FeedPolicy feed = {},
                                     Report* report = nullptr) {
    TestSession session({.feed = feed});
    std::vector<TaskArgument> arguments{session.use(inputOf(session, "source", source))};
    std::vector<PipeId> pipes;
    for (const ElementType type : types) {
        pipes.push_back(session.output("d" + std::to_string(pipes.size()), {}, type));
        arguments.push_back(session.use(pipes.back()));
    }
    session.addTask({.command = command, .arguments = arguments});
    const Report made = session.run();
    if (report != nullptr) *report = made;
    std::vector<Stream> streams;
    for (std::size_t i = 0; i < pipes.size(); ++i) streams.push_back(outputOf(session, pipes[i], types[i]));
    return streams;
}

}  // namespace libzepl
