// LOW gives the minimum of each block and, if asked, its position in the block.

#include "module/commands.h"
#include "stats/extreme.h"

namespace zcmds {

const char* const lowSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   const  storage  (int16|int32)  bsize ,   "
    "out    typeof(src)  dest    [ , out   pipe     (int16|int32)  loc ]    )";

std::uint32_t low(ParamList list) { return extremesOfBlocks<std::less<>>(list); }

}  // namespace zcmds
