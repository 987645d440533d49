// The process that does the work of the peers in Python: bench/peers.py.
#pragma once

#include <string>

namespace bench {

// Starts it; an empty interpreter is none. It lives as long as this process.
void startPython(const std::string& interpreter);

// Whether it has the library.
bool pythonHas(const std::string& library);

// A line there, the line that comes back; empty when there is no such process.
std::string askPython(const std::string& request);

}  // namespace bench
