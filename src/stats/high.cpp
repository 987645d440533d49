// HIGH gives the maximum of each block and, if asked, its position in the block.

#include "module/commands.h"
#include "stats/extreme.h"

namespace zcmds {

const char* const highSignature =
    "( in     pipe     (int16|int32|float|double)  src ,   const  storage  (int16|int32)  bsize ,   "
    "out    typeof(src)  dest   [ , out   pipe     (int16|int32)  loc ]  )";

std::uint32_t high(ParamList list) { return extremesOfBlocks<std::greater<>>(list); }

}  // namespace zcmds
