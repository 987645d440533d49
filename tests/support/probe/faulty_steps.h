// Steps of SCRIPT that no command should take: out of the command by an exception, out of the program, or into a fault.
#pragma once

#include <cstdint>

namespace probe {

using Step = std::int64_t(std::int64_t);

Step throwError, throwNumber, useNullPointer, useWildPointer, trap, abortProgram, exitProgram, quickExitProgram;
Step forkAndQuickExit, forkAndUseNullPointer;  // give the exit status of the fork, or the negated signal that ended it
Step roundUpwards;                             // by the argument 0 to the nearest again
Step heapBytes;                                // what is allocated of the C library's memory, its own records among it

}  // namespace probe
