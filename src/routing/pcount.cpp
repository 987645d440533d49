// PCOUNT counts the samples of a stream in a variable.

#include <algorithm>

#include "frame/exact.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "module/commands.h"

namespace zcmds {

const char* const pcountSignature =
    "( in   pipe    (int16|int32|float|double)  src ,    out  storage (int16|int32|double)  tally )";

namespace {

// 32 bits also of an int16 variable, so that a reader of 32 bits sees the count continue.
void addTo(std::int32_t& tally, std::int32_t count) { tally = wrappingSum(tally, count); }
void addTo(double& tally, std::int32_t count) { tally += static_cast<std::uint32_t>(count); }

// Counts on from what the variable holds.
template <class Tally>
[[noreturn]] void countSamples(PipeHandle src, Tally& tally) {
    const auto max = static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock));
    zepl::pipe_open(src, zepl::OpenMode::read);
    for (;;) {
        const std::int32_t count = std::max(zepl::pipe_num_complete(src, max), 1);
        zepl::pipe_rem(src, count);
        addTo(tally, count);
    }
}

}  // namespace

std::uint32_t pcount(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, anyPipe, variableInteger | variableDouble);
    const auto src = handleIn<PipeHandle>(params[1]);
    if (zepl::param_type(list, 2) == variableDouble) countSamples(src, *valueIn<double>(params[2]));
    countSamples(src, *valueIn<std::int32_t>(params[2]));
}

}  // namespace zcmds
