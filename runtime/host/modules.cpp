// Module loading, the console, and what a module's start-up layer calls. These can run with no session, while a module is
// loaded; what is printed then is kept for the loader.

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "host/host.h"
#include "runtime/commands.h"
#include "runtime/engine/engine.h"
#include "runtime/engine/lanes.h"
#include "runtime/engine/load_state.h"

namespace libzepl {

namespace {

constexpr auto hostHandle = static_cast<zepl::ModuleHandle>(1);

struct Operation {
    const char* name;
    void* address;
};

template <class Function>
void* addressOf(Function* function) {
    return reinterpret_cast<void*>(function);
}

#define LIBZEPL_OPERATION(name) \
    { #name, addressOf(zepl::name) }
const Operation operations[] = {
    LIBZEPL_OPERATION(param_process),
    LIBZEPL_OPERATION(param_type),
    LIBZEPL_OPERATION(param_error_msg),
    LIBZEPL_OPERATION(pipe_open),
    LIBZEPL_OPERATION(pipe_num),
    LIBZEPL_OPERATION(pipe_num_complete),
    LIBZEPL_OPERATION(pipe_rem),
    LIBZEPL_OPERATION(pipe_value_get),
    LIBZEPL_OPERATION(pipe_value_put),
    LIBZEPL_OPERATION(pipe_get),
    LIBZEPL_OPERATION(pipe_put),
    LIBZEPL_OPERATION(pbuf_open),
    LIBZEPL_OPERATION(pbuf_get_data_ptr),
    LIBZEPL_OPERATION(pbuf_set_data_ptr),
    LIBZEPL_OPERATION(pbuf_set_min_cnt),
    LIBZEPL_OPERATION(pbuf_get_min_cnt),
    LIBZEPL_OPERATION(pbuf_set_max_cnt),
    LIBZEPL_OPERATION(pbuf_get_max_cnt),
    LIBZEPL_OPERATION(pbuf_get),
    LIBZEPL_OPERATION(pbuf_get_cnt),
    LIBZEPL_OPERATION(pbuf_set_cnt),
    LIBZEPL_OPERATION(pbuf_put),
    LIBZEPL_OPERATION(pbuf_put_set_cnt),
    LIBZEPL_OPERATION(trigger_open),
    LIBZEPL_OPERATION(trigger_num),
    LIBZEPL_OPERATION(trigger_get),
    LIBZEPL_OPERATION(trigger_get_immediate),
    LIBZEPL_OPERATION(trigger_get_status),
    LIBZEPL_OPERATION(trigger_put),
    LIBZEPL_OPERATION(trigger_set_status),
    LIBZEPL_OPERATION(trigger_updt_put),
    LIBZEPL_OPERATION(trigger_updt_status),
    LIBZEPL_OPERATION(trigger_wait),
    LIBZEPL_OPERATION(trigger_get_opmode),
    LIBZEPL_OPERATION(trigger_get_property),
    LIBZEPL_OPERATION(task_switch),
    LIBZEPL_OPERATION(task_pause),
    LIBZEPL_OPERATION(exit),
    LIBZEPL_OPERATION(terminate_msg),
    LIBZEPL_OPERATION(sys_get_info),
    LIBZEPL_OPERATION(sys_get_task_ID),
    LIBZEPL_OPERATION(sys_get_time),
    LIBZEPL_OPERATION(u64SystemTicksGet),
    LIBZEPL_OPERATION(u64UsToSysTicks),
    LIBZEPL_OPERATION(digital_set_bit),
    LIBZEPL_OPERATION(vector_length),
    LIBZEPL_OPERATION(vector_start),
    LIBZEPL_OPERATION(vector_type),
    LIBZEPL_OPERATION(ralloc),
    LIBZEPL_OPERATION(malloc),
    LIBZEPL_OPERATION(free),
    LIBZEPL_OPERATION(alloc_zero_mem),
    LIBZEPL_OPERATION(sqrt),
    LIBZEPL_OPERATION(fabs),
    LIBZEPL_OPERATION(floor),
    LIBZEPL_OPERATION(exp),
    LIBZEPL_OPERATION(log10),
    LIBZEPL_OPERATION(cos),
    LIBZEPL_OPERATION(sin),
    LIBZEPL_OPERATION(atan2),
    LIBZEPL_OPERATION(pow),
    LIBZEPL_OPERATION(isqrt),
    LIBZEPL_OPERATION(exp_array),
    LIBZEPL_OPERATION(log10_array),
    LIBZEPL_OPERATION(cos_array),
    LIBZEPL_OPERATION(sin_array),
    LIBZEPL_OPERATION(atan2_array),
    LIBZEPL_OPERATION(pow_array),
    LIBZEPL_OPERATION(turns_alone),
    LIBZEPL_OPERATION(turns_done),
    LIBZEPL_OPERATION(ModuleOpen),
    LIBZEPL_OPERATION(ModuleProcAddressGet),
    LIBZEPL_OPERATION(ModuleClose),
    LIBZEPL_OPERATION(CommandInstall),
    LIBZEPL_OPERATION(printf),
    LIBZEPL_OPERATION(sscanf),
    LIBZEPL_OPERATION(RaiseException),
    LIBZEPL_OPERATION(RtlUnwind),
};
#undef LIBZEPL_OPERATION
static_assert(sizeof operations / sizeof *operations == 78);

// Gives the text to the caller's console. What that throws must not pass through a task's frames, which are never unwound:
// the run ends, and run() passes it on.
void passToConsole(Engine& e, const char* text) {
    if (e.scheduler.current == nullptr) return e.options.console(text);
    try {
        return e.options.console(text);
    } catch (...) {
        e.outcome.consoleError = std::current_exception();
    }
    e.outcome.finish(RunEnd::failed);
    Context& left = e.scheduler.current->context;
    e.scheduler.current = nullptr;
    switchContext(left, e.scheduler.dispatcher);
}

// The text with the room that it doubles in, and its lines in the report.
std::uint64_t costOfPrinting(std::string_view text) {
    const auto lines = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
    return 4 * text.size() + 4 * sizeof(std::string) * (lines + 1);
}

void print(const char* text) {
    if (engine == nullptr) {
        loadState().print(text);
        return;
    }
    requireWhole(*engine);
    if (engine->scheduler.current != nullptr && !engine->graph.memory.reserve(costOfPrinting(text)))
        outOfMemory(*engine, "what it prints");
    engine->outcome.console += text;
    if (engine->options.console) passToConsole(*engine, text);
}

}  // namespace

}  // namespace libzepl

namespace zepl {

using namespace libzepl;

ModuleHandle ModuleOpen(const char* name) {
    return std::strcmp(name, "ZEPL") == 0 ? hostHandle : static_cast<ModuleHandle>(0);
}

void* ModuleProcAddressGet(ModuleHandle module, const char* procName) {
    if (module != hostHandle) return nullptr;
    for (const Operation& operation : operations)
        if (std::strcmp(operation.name, procName) == 0) return operation.address;
    return nullptr;
}

void ModuleClose(ModuleHandle) {}

std::uint32_t CommandInstall(InstallContext, const char* name, CommandRoutine entry, const CommandInfo* info) {
    CommandLibrary* library = loadState().library;
    return library != nullptr && library->install(name, entry, info != nullptr ? *info : CommandInfo{}) ? 1 : 0;
}

void terminate_msg() {
    if (engine == nullptr || engine->scheduler.current == nullptr) {
        loadState().terminated = true;
        return;
    }
    Engine& e = *engine;
    e.outcome.finish(RunEnd::failed, e.scheduler.current->label() + " ended the run");
    endCurrent(e, TaskReport::State::fault, "ended the run");
}

std::int32_t printf(const char* format, ...) {
    // Longer texts than any that a command prints are cut: a task's stack is small.
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length > 0) print(text);
    return length;
}

std::int32_t sscanf(const char* text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int items = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return items;
}

}  // namespace zepl
