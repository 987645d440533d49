// Libraries that are loaded when the first of their functions is called: a program that calls none starts without them.
#pragma once

namespace libzepl {

class LateLibrary {
 public:
    // `what` stands in messages before the file's name. The package of the system that brings it is for their advice.
    constexpr LateLibrary(const char* what, const char* file, const char* package)
        : what_(what), file_(file), package_(package) {}

    // For as long as the process lives. Where the library or the function is not there: a Problem.
    template <class Function>
    Function* function(const char* name) const {
        return reinterpret_cast<Function*>(address(name));
    }

 private:
    void* address(const char* name) const;

    const char* what_;
    const char* file_;
    const char* package_;
};

}  // namespace libzepl
