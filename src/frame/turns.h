// Several turns at once, for commands that answer each value by one: bound at start-up to the host's operations, where it has
// them. What comes out is the same.
#pragma once

#include "host/turns.h"

namespace zcmds {

struct Turns {
    decltype(&zepl::turns_alone) alone;
    decltype(&zepl::turns_done) done;
};

extern Turns turns;

}  // namespace zcmds
