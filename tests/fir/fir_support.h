// Runs of a filter over a whole input.
#pragma once

#include <algorithm>

#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {

constexpr FeedPolicy wholeFeed{.kind = FeedPolicy::Kind::whole};

// What `command (source, given..., result)` makes of the elements.
template <class Destination, class Source>
std::vector<Destination> filtered(TestSession& session, const std::string& command, const std::vector<Source>& elements,
                                  std::vector<TaskArgument> given) {
    const PipeId source = session.input("source", elements);
    const PipeId result = session.output("result", {}, elementTypeOf<Destination>());
    given.insert(given.begin(), session.use(source));
    given.push_back(session.use(result));
    session.addTask({.command = command, .arguments = given});
    EXPECT_EQ(session.run().status, Report::Status::ok);
    return session.collected<Destination>(result);
}

template <class Coefficient>
struct Filter {
    std::vector<Coefficient> taps;
    std::int32_t nchans, decimation, align;

    std::int32_t length() const { return static_cast<std::int32_t>(taps.size()); }
    std::int32_t step() const { return std::max(decimation, 1); }
    std::int32_t zeros() const { return align == -1 ? length() / 2 : align; }

    std::vector<TaskArgument> parameters(TestSession& session) const {
        const VectorId vector = session.addVector("taps", elementTypeOf<Coefficient>(), bytesOf(taps));
        const auto constant = [](std::int32_t x) { return int16Constant(static_cast<std::int16_t>(x)); };
        return {constant(nchans), session.use(vector),  constant(0),
                floatConstant(1), constant(decimation), constant(align)};
    }
};

template <class Destination, class Source, class Coefficient>
std::vector<Destination> filteredBy(const Filter<Coefficient>& filter, const std::vector<Source>& x,
                                    FeedPolicy feed = wholeFeed) {
    TestSession session({.feed = feed});
    return filtered<Destination>(session, "FIRFILTER", x, filter.parameters(session));
}

}  // namespace libzepl
