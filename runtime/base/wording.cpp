#include "runtime/wording.h"

namespace libzepl {

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string joined(const std::vector<std::string>& parts, const std::string& last, const std::string& between) {
    std::string text;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) text += i + 1 == parts.size() ? last : between;
        text += parts[i];
    }
    return text;
}

}  // namespace libzepl
