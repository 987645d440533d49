// What HIGH and LOW share.
#pragma once

#include "frame/element_type.h"
#include "frame/extreme.h"
#include "host/parameters.h"
#include "stats/block_reducer.h"

namespace zcmds {

// HIGH and LOW as a whole.
template <class Beats>
std::uint32_t extremesOfBlocks(ParamList list) {
    BlockStreams streams;
    const bool withLoc =
        openBlockStreams(list, streams.reader, streams.writer, streams.locWriter, streams.bsize, true, true);
    const ParamMask loc = withLoc ? zepl::param_type(list, 4) : 0;
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        if (!withLoc) reduceBlocks(streams, Extreme<Element, Beats, false>{});
        if (loc == pipeInt16) reduceBlocks<std::int16_t>(streams, Extreme<Element, Beats, true>{});
        reduceBlocks<std::int32_t>(streams, Extreme<Element, Beats, true>{});
    });
}

}  // namespace zcmds
