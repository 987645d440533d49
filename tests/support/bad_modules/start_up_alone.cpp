// The start-up layer without any entry of a module, and what it bound.

#include "frame/mathematics.cpp"
#include "frame/turns.cpp"
#include "module/startup.cpp"

extern "C" const zcmds::Mathematics* boundMathematics() { return &zcmds::mathematics; }
