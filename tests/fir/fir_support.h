// Runs of a filter over a whole input.
#pragma once

#include <algorithm>

#include "tests/support/call.h"
#include "tests/support/samples.h"

namespace libzepl {

constexpr FeedPolicy wholeFeed{.kind = FeedPolicy::Kind::whole};

template <class Coefficient>
struct Filter {
    std::vector<Coefficient> taps;
    std::int32_t nchans, decimation, align;

    std::int32_t length() const { return static_cast<std::int32_t>(taps.size()); }
    std::int32_t step() const { return std::max(decimation, 1); }
    std::int32_t zeros() const { return align == -1 ? length() / 2 : align; }
};

template <class Destination, class Source, class Coefficient>
std::vector<Destination> filteredBy(const Filter<Coefficient>& filter, const std::vector<Source>& x,
                                    FeedPolicy feed = wholeFeed) {
    const std::string channels = std::to_string(filter.nchans), decimation = std::to_string(filter.decimation);
    const Call call("FIRFILTER " + list("in", channels, "taps, 0, 1:float", decimation, std::to_string(filter.align),
                                        typed<Destination>("out")),
                    {{"in", x}, {"[taps]", filter.taps}}, {.feed = feed});
    EXPECT_EQ(call.report.status, Report::Status::ok);
    return call.taken<Destination>();
}

}  // namespace libzepl
