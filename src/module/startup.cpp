// Runs when the host loads the file, before ModuleInstall: makes sure that the host has every operation that the module
// calls, and binds the mathematics. The module is linked lazily, so a missing operation is named here, in plain words, and
// not by the loader in the middle of a run.

#include "frame/mathematics.h"
#include "frame/turns.h"
#include "host/modules.h"
#include "host/tasks.h"

namespace zcmds {

namespace {

// What the commands and the frame call. The start-up itself rests on ModuleOpen, ModuleProcAddressGet, ModuleClose,
// printf and terminate_msg.
constexpr const char* requiredOperations[] = {
    "CommandInstall",
    "RaiseException",
    "atan2",
    "cos",
    "digital_set_bit",
    "exit",
    "exp",
    "log10",
    "malloc",
    "param_error_msg",
    "param_process",
    "param_type",
    "pbuf_get",
    "pbuf_get_cnt",
    "pbuf_get_data_ptr",
    "pbuf_get_max_cnt",
    "pbuf_get_min_cnt",
    "pbuf_open",
    "pbuf_put",
    "pbuf_put_set_cnt",
    "pbuf_set_cnt",
    "pbuf_set_data_ptr",
    "pbuf_set_max_cnt",
    "pbuf_set_min_cnt",
    "pipe_get",
    "pipe_num",
    "pipe_num_complete",
    "pipe_open",
    "pipe_put",
    "pipe_rem",
    "pipe_value_get",
    "pipe_value_put",
    "pow",
    "ralloc",
    "sin",
    "sys_get_info",
    "sys_get_task_ID",
    "sys_get_time",
    "task_pause",
    "task_switch",
    "trigger_get",
    "trigger_get_immediate",
    "trigger_get_opmode",
    "trigger_get_property",
    "trigger_get_status",
    "trigger_num",
    "trigger_open",
    "trigger_put",
    "trigger_set_status",
    "trigger_updt_put",
    "trigger_updt_status",
    "trigger_wait",
    "u64SystemTicksGet",
    "u64UsToSysTicks",
    "vector_length",
    "vector_start",
    "vector_type",
};

bool hostHasAll(zepl::ModuleHandle host) {
    bool complete = true;
    for (const char* name : requiredOperations) {
        if (zepl::ModuleProcAddressGet(host, name) != nullptr) continue;
        zepl::printf("*** Error: module zcmds3 needs the host operation %s, which this host lacks\r\n", name);
        complete = false;
    }
    return complete;
}

template <class Function>
void bind(zepl::ModuleHandle host, const char* name, Function*& function) {
    if (void* address = zepl::ModuleProcAddressGet(host, name)) function = reinterpret_cast<Function*>(address);
}

void bindMathematics(zepl::ModuleHandle host) {
    bind(host, "exp", mathematics.exp);
    bind(host, "log10", mathematics.log10);
    bind(host, "cos", mathematics.cos);
    bind(host, "sin", mathematics.sin);
    bind(host, "atan2", mathematics.atan2);
    bind(host, "pow", mathematics.pow);
    // A host need not have these.
    bind(host, "exp_array", mathematics.expArray);
    bind(host, "log10_array", mathematics.log10Array);
    bind(host, "cos_array", mathematics.cosArray);
    bind(host, "sin_array", mathematics.sinArray);
    bind(host, "atan2_array", mathematics.atan2Array);
    bind(host, "pow_array", mathematics.powArray);
}

// Both or none; a host need not have them.
void bindTurns(zepl::ModuleHandle host) {
    Turns offered{};
    bind(host, "turns_alone", offered.alone);
    bind(host, "turns_done", offered.done);
    if (offered.alone != nullptr && offered.done != nullptr) turns = offered;
}

[[gnu::constructor]] void startUp() {
    const zepl::ModuleHandle host = zepl::ModuleOpen("ZEPL");
    if (host == zepl::ModuleHandle{}) return;
    if (hostHasAll(host)) {
        bindMathematics(host);
        bindTurns(host);
    } else {
        zepl::terminate_msg();
    }
    zepl::ModuleClose(host);
}

}  // namespace

}  // namespace zcmds
