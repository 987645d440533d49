// What goes on while a module is loaded on this thread.
#pragma once

#include <string>

namespace libzepl {

class CommandLibrary;

struct LoadState {
    CommandLibrary* library = nullptr;  // takes the commands that are installed
    bool terminated = false;            // the module's start-up ended the run
    std::string console;                // what was printed outside a session
};

LoadState& loadState();

}  // namespace libzepl
