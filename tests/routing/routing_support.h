// Commands of routing on streams in memory. Streams of different types are held alike, as the bits of their elements.
#pragma once

#include "tests/support/arrivals.h"
#include "tests/support/call.h"
#include "tests/support/covered.h"
#include "tests/support/samples.h"

namespace libzepl {

template <class Element>
class Routed : public testing::Test {};

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
    inputOf(session, "source", source);
    std::string call = command + " (source";
    std::vector<PipeId> pipes;
    for (const ElementType type : types) {
        const std::string name = "d" + std::to_string(pipes.size());
        pipes.push_back(session.output(name, {}, type));
        call += ", " + name;
    }
    addCall(session, call + ")");
    const Report made = session.run();
    if (report != nullptr) *report = made;
    std::vector<Stream> streams;
    for (std::size_t i = 0; i < pipes.size(); ++i) streams.push_back(outputOf(session, pipes[i], types[i]));
    return streams;
}

}  // namespace libzepl
