// Which commands have tests of their own: each command's test file says once `const Covers abs("ABS");`, and a command of
// the module that none names fails the tests.
#pragma once

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

}  // namespace libzepl
