// What goes on while a module is loaded on this thread. Kept small: a library that a program loads late has little room for
// the values of threads.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

namespace libzepl {

class CommandLibrary;

// Owns nothing: a thread's value that had to be destroyed at its end would be one more allocation that can fail.
struct LoadState {
    CommandLibrary* library = nullptr;  // takes the commands that are installed
    bool terminated = false;            // the module's start-up ended the run
    // While a module is loaded: whom to say what it did that leaves the memory of the process in doubt.
    const std::function<void(const char*)>* crashed = nullptr;
    std::array<char, 1024> console{};  // what was printed outside a session, as far as there is room
    std::size_t printed = 0;           // bytes of it

    void print(std::string_view text);
};

LoadState& loadState();

}  // namespace libzepl
