// Commands on a real and an imaginary pipe.
#pragma once

#include "tests/arith/arith_support.h"

namespace libzepl {

template <class Element>
using Streams = std::vector<std::vector<Element>>;

// The outputs, `count` of them, of `command (re, im, outputs...)`.
template <class Element>
Streams<Element> ofPairs(const char* command, const std::vector<Element>& re, const std::vector<Element>& im,
                         std::size_t count = 1, FeedPolicy feed = {}) {
    TestSession session({.feed = feed});
    TaskSettings task{.command = command,
                      .arguments = {session.use(session.input("re", re)), session.use(session.input("im", im))}};
    std::vector<PipeId> outputs;
    for (std::size_t i = 0; i < count; ++i) {
        outputs.push_back(session.output("out" + std::to_string(i), {}, elementTypeOf<Element>()));
        task.arguments.push_back(session.use(outputs.back()));
    }
    session.addTask(std::move(task));
    EXPECT_EQ(statesOf(session.run()), Lines{"waiting"});
    Streams<Element> streams;
    for (const PipeId output : outputs) streams.push_back(session.collected<Element>(output));
    return streams;
}

template <class Element>
Element ofPair(const char* command, Element re, Element im) {
    return ofPairs<Element>(command, {re}, {im}).at(0).at(0);
}

// Real and imaginary parts that meet the edges of the type and each other's neighbourhood; finite ones.
template <class Element>
std::pair<std::vector<Element>, std::vector<Element>> pairSamples() {
    std::vector<Element> re = randomSamples<Element>(20000, 21), im = randomSamples<Element>(20000, 22);
    for (std::size_t i = 0; i < re.size() / 2; ++i) {
        if constexpr (std::is_integral_v<Element>) re[i] = static_cast<Element>(re[i] >> (i % 31));
        if (i % 5 == 0) im[i] = re[i];
    }
    const Element edges[] = {least<Element>, static_cast<Element>(least<Element> + 1), -1, 0, 1, 2, 1000};
    for (const Element a : edges)
        for (const Element b : edges) re.push_back(a), im.push_back(b);
    return {re, im};
}

}  // namespace libzepl
