// TSTAMP writes the position of each assertion of a trigger to a pipe.

#include <algorithm>

#include "events/trigger_source.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const tstampSignature = "( in    trigger   src ,   out   pipe    (int16|int32)  dest )";

namespace {

constexpr std::int32_t maxBurst = 64;  // assertions between two yields

void stamp(PipeHandle dest, std::uint32_t p) { zepl::pipe_put(dest, wrap<std::int32_t>(p)); }

[[noreturn]] void stampAll(TriggerHandle src, PipeHandle dest) {
    for (;; zepl::task_switch()) {
        std::uint32_t p = 0;
        const std::int32_t k = std::min(zepl::trigger_num(src), maxBurst);
        for (std::int32_t i = 0; i < k; ++i) stamp(dest, p = zepl::trigger_get(src));
        if (k == 0) {
            std::int32_t flag;
            p = zepl::trigger_get_immediate(src, &flag);
            if (flag != 0) stamp(dest, p);
        }
        zepl::trigger_set_status(src, p);
    }
}

}  // namespace

std::uint32_t tstamp(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, triggerKind, integerPipe);
    const auto src = handleIn<TriggerHandle>(params[1]);
    const auto dest = handleIn<PipeHandle>(params[2]);
    zepl::trigger_open(src, zepl::OpenMode::read);
    zepl::pipe_open(dest, zepl::OpenMode::write);
    stampAll(src, dest);
}

}  // namespace zcmds
