// The commands that the module offers, in the order in which it offers them.
#pragma once

#include "host/modules.h"

namespace zcmds {

// A row of a command table; a null name closes the table.
struct CommandEntry {
    const char* name;                    // upper case
    zepl::CommandRoutine entry;          // the task's entry
    const char* const* signatureHolder;  // the cell that holds the signature string; null for a command without one
};
static_assert(sizeof(void*) != 4 || sizeof(CommandEntry) == 12);

extern const CommandEntry mainTable[];  // commands that are content with the usual stack
extern const CommandEntry fftTable[];   // commands that keep a transform's plan in their task's local state

}  // namespace zcmds
