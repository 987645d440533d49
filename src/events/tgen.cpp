// TGEN asserts at a fixed period, from nothing, as far ahead as the trigger takes it.

#include "events/trigger_source.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const tgenSignature = "( const  storage  (int16|int32)  period ,   out    trigger  dest )";

namespace {

constexpr int batch = 64;  // assertions between two yields

[[noreturn]] void generate(TriggerHandle dest, std::uint32_t period) {
    for (std::uint32_t p = beforeFirstSample;; zepl::task_switch())
        for (int i = 0; i < batch; ++i) zepl::trigger_put(dest, p += period);
}

}  // namespace

std::uint32_t tgen(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, constantInteger, triggerKind);
    const std::int32_t period = integerIn(params[1], zepl::param_type(list, 1));
    if (period < 1) zepl::param_error_msg(ParamError::notPositive, 1);
    const auto dest = handleIn<TriggerHandle>(params[2]);
    openIfGiven(dest, zepl::OpenMode::write);
    generate(dest, static_cast<std::uint32_t>(period));
}

}  // namespace zcmds
