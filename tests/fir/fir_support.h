// A run of a filter over a whole input, and its definition: direct sums.
#pragma once

#include <cmath>
#include <limits>

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

    std::vector<TaskArgument> parameters(TestSession& session) const {
        const VectorId vector = session.addVector("taps", elementTypeOf<Coefficient>(), bytesOf(taps));
        const auto constant = [](std::int32_t x) { return int16Constant(static_cast<std::int16_t>(x)); };
        return {constant(nchans), session.use(vector),  constant(0),
                floatConstant(1), constant(decimation), constant(align)};
    }
};

template <class Destination, class Sum>
Destination storedSum(Sum sum) {
    if constexpr (std::is_same_v<Destination, std::int16_t>)
        return sum <= -32768 ? -32768 : sum >= 32767 ? 32767 : static_cast<std::int16_t>(sum);
    else if constexpr (std::is_same_v<Destination, std::int32_t>)
        return sum > -2147483649.0 && sum < 2147483648.0 ? static_cast<std::int32_t>(sum)
                                                         : std::numeric_limits<std::int32_t>::min();
    else
        return static_cast<Destination>(sum);
}

// One output of the filter whose oldest sample is in frame `first` of x; x is 0 before its start.
template <class Destination, class Sum, class Source, class Coefficient>
Destination directSum(const Filter<Coefficient>& filter, const std::vector<Source>& x, std::int32_t first,
                      std::int32_t channel) {
    Sum sum = 0;
    for (std::int32_t k = 0; k < filter.length(); ++k) {
        const std::int32_t at = (first + k) * filter.nchans + channel;
        sum += static_cast<Sum>(filter.taps[static_cast<std::size_t>(k)]) *
               (at < 0 ? Sum{0} : static_cast<Sum>(x[static_cast<std::size_t>(at)]));
    }
    return storedSum<Destination>(sum);
}

}  // namespace libzepl
