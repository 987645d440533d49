// The set-up of commands (src, ..., dest) whose last parameters before dest are values that go with the stream.
#pragma once

#include "frame/checks.h"
#include "frame/cursors.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/system_info.h"

namespace zcmds {

// False after a report that came back: a value from position `first` to the one before dest does not fit the stream.
inline bool checkValuesForPipe(ParamList list, ParamPair pair, std::int32_t first) {
    const ParamMask pipeType = zepl::param_type(list, pair.source);
    for (std::int32_t at = first; at < pair.destination; ++at)
        if (!checkConstantForPipe(pipeType, zepl::param_type(list, at), at)) return false;
    return true;
}

// With values, from position `first` on, that are read again for every block. False as of checkValuesForPipe.
inline bool openPairWithValues(ParamList list, const Slot* params, ParamPair pair, std::int32_t first,
                               StreamReader& reader, StreamWriter& writer) {
    checkSameElementType(list, pair);
    if (!checkValuesForPipe(list, pair, first)) return false;
    openInPlacePair(params, pair, reader, writer, 1000);
    return true;
}

struct LimitPair {
    Cell low, high;
};

// With a low and a high limit, which are read here, once, and checked before the type of dest is.
inline LimitPair openPairWithLimits(ParamList list, const Slot* params, ParamPair pair, StreamReader& reader,
                                    StreamWriter& writer) {
    const std::int32_t low = pair.destination - 2, high = pair.destination - 1;
    const LimitPair limits{.low = cellIn(params[low]), .high = cellIn(params[high])};
    checkValuesForPipe(list, pair, low);
    checkSameElementType(list, pair);
    openInPlacePair(params, pair, reader, writer, static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    return limits;
}

}  // namespace zcmds
