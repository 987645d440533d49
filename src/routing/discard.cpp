// DISCARD throws streams away that nobody needs, so that their pipes do not fill up.

#include "frame/mask_list.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "module/commands.h"

namespace zcmds {

const char* const discardSignature =
    "( in   pipe    (int8|int16|int32|float|double)  discard   [, "
    "in   pipe    (int8|int16|int32|float|double)  alsodiscard ]* )";

namespace {

constexpr std::int32_t maxPipes = 32;

void dropWhatIsThere(PipeHandle pipe, std::int32_t max) {
    for (;;) {
        const std::int32_t count = zepl::pipe_num_complete(pipe, max);
        if (count == 0) return;
        zepl::pipe_rem(pipe, count);
    }
}

}  // namespace

std::uint32_t discard(ParamList list) {
    std::int32_t count;
    const Slot* params = processList(list, &count, 1, maxPipes, times<maxPipes>(anyPipe));
    const auto max = static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock) * 4);
    for (std::int32_t i = 1; i <= count; ++i) zepl::pipe_open(handleIn<PipeHandle>(params[i]), zepl::OpenMode::read);
    for (;;) {
        for (std::int32_t i = count; i >= 1; --i) dropWhatIsThere(handleIn<PipeHandle>(params[i]), max);
        // The task sleeps on the first pipe; the others hold what comes until a sample comes there.
        zepl::pipe_rem(handleIn<PipeHandle>(params[1]), 1);
    }
}

}  // namespace zcmds
