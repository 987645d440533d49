// The set-up of a command (src, dest) that makes each sample a new one of the same type.
#pragma once

#include "frame/checks.h"
#include "frame/cursors.h"
#include "host/parameters.h"

namespace zcmds {

inline void openUnaryPair(ParamList list, StreamReader& reader, StreamWriter& writer) {
    const ParamPair pair{.source = 1, .destination = 2};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, anyPipe, anyPipe);
    checkSameElementType(list, pair);
    openInPlacePair(params, pair, reader, writer, 1000);
}

}  // namespace zcmds
