#pragma once

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace libzepl {

// The names that only one of the sets has, for messages: of a long set they would show the first few.
inline std::set<std::string> unpaired(const std::set<std::string>& a, const std::set<std::string>& b) {
    std::set<std::string> names;
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(names, names.end()));
    return names;
}

}  // namespace libzepl
