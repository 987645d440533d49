// Pairs of benchmarks whose ratio is what counts, since absolute times move from machine to machine.
#pragma once

#include <string>

namespace bench {

// The time of `name` is to be compared with that of `peer`, or, with no peer, with `limit` nanoseconds; `limit` is the most
// that is accepted. Both benchmarks count items, and times are those of an item.
struct Pair {
    Pair(std::string name, std::string peer, double limit);
};

}  // namespace bench
