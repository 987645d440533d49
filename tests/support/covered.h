// Which commands have tests of their own: each command's test file says once `const Covers abs("ABS");`, and a command of
// the module that none names fails the tests.
#pragma once

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace libzepl {

class Covers {
 public:
    explicit Covers(const std::string& command) { names().insert(command); }
    static const std::set<std::string>& all() { return names(); }

 private:
    static std::set<std::string>& names() {
        static std::set<std::string> commands;
        return commands;
    }
};

// The names that only one of the sets has, for messages: of a long set they would show the first few.
inline std::set<std::string> unpaired(const std::set<std::string>& a, const std::set<std::string>& b) {
    std::set<std::string> names;
    std::set_symmetric_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(names, names.end()));
    return names;
}

}  // namespace libzepl
