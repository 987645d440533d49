// Pieces of sentences that messages share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace libzepl {

// "1 sample", "2 samples".
std::string counted(std::uint64_t count, const std::string& noun);

// "a", "a or b", "a, b or c".
std::string joined(const std::vector<std::string>& parts, const std::string& last = " or ",
                   const std::string& between = ", ");

}  // namespace libzepl
