// SCRIPT ("steps", ...) performs host operations that its first parameter names, so that a test says in a line what a
// task does. Steps are apart by blanks: `pipe_put:2,7`, an operation's name and its arguments, where an argument is a
// number, `$` for the last result, or `#` for a count that goes up by one with each use, and a pipe, trigger or vector is
// the position of its parameter; `?` in front prints the result. `3( ... )` goes round three times, `*( ... )` for ever.
// `open_read` and `open_write` open a pipe or a trigger; the steps after the operations do a little more than one. A
// script that is through only switches from then on, or, with `!` before all steps, returns its last result.

#include <cstdlib>
#include <cstring>

#include "faulty_steps.h"
#include "host/host.h"
#include "probe.h"

namespace probe {

namespace {

using Arguments = const std::int64_t*;
using Result = std::int64_t;

struct Machine {
    ParamList list{};
    const zepl::Slot* params = nullptr;
    std::int64_t result = 0;
    std::int64_t uses = 0;  // of `#`
    zepl::PbufHandle pbufs[16]{};

    zepl::PipeHandle pipe(std::int64_t at) const { return zepl::handleIn<zepl::PipeHandle>(params[at]); }
    zepl::TriggerHandle trigger(std::int64_t at) const { return zepl::handleIn<zepl::TriggerHandle>(params[at]); }
    zepl::VectorHandle vector(std::int64_t at) const { return zepl::handleIn<zepl::VectorHandle>(params[at]); }
    zepl::ParamMask kind(std::int64_t at) const { return zepl::param_type(list, static_cast<std::int32_t>(at)); }
};

std::int32_t count(std::int64_t n) { return static_cast<std::int32_t>(n); }
std::uint32_t word(std::int64_t n) { return static_cast<std::uint32_t>(n); }

Result address(void* memory) { return static_cast<Result>(reinterpret_cast<std::uintptr_t>(memory)); }
std::int32_t element(const void* elements, std::int64_t at) { return static_cast<const std::int32_t*>(elements)[at]; }

Result open(Machine& m, std::int64_t at, zepl::OpenMode mode) {
    if (m.kind(at) == zepl::triggerKind)
        zepl::trigger_open(m.trigger(at), mode);
    else
        zepl::pipe_open(m.pipe(at), mode);
    return 0;
}

Result openBlock(Machine& m, Arguments a) {
    m.pbufs[a[0]] = zepl::pbuf_open(m.pipe(a[0]), count(a[1]));
    return zepl::pbuf_get_max_cnt(m.pbufs[a[0]]) * 1000 + zepl::pbuf_get_min_cnt(m.pbufs[a[0]]);
}

// Puts a[1] elements of an int32 pipe that count up.
Result putBlock(Machine& m, Arguments a) {
    auto* data = static_cast<std::int32_t*>(zepl::pbuf_get_data_ptr(m.pbufs[a[0]]));
    for (std::int64_t i = 0; i < a[1]; ++i) data[i] = count(m.uses++);
    zepl::pbuf_put_set_cnt(m.pbufs[a[0]], count(a[1]));
    return zepl::pbuf_get_cnt(m.pbufs[a[0]]);
}

// Makes the data area of the second pbuf that of the first as well.
Result share(Machine& m, Arguments a) {
    zepl::pbuf_set_data_ptr(m.pbufs[a[0]], zepl::pbuf_get_data_ptr(m.pbufs[a[1]]));
    return a[1];
}

// Passes what there is of int32 on, by blocks.
Result copyBlock(Machine& m, Arguments a) {
    const std::int32_t n = zepl::pbuf_get(m.pbufs[a[0]]);
    std::memcpy(zepl::pbuf_get_data_ptr(m.pbufs[a[1]]), zepl::pbuf_get_data_ptr(m.pbufs[a[0]]),
                static_cast<std::size_t>(n) * sizeof(std::int32_t));
    zepl::pbuf_put_set_cnt(m.pbufs[a[1]], n);
    return n;
}

Result moveOne(Machine& m, Arguments a) {
    std::int64_t cell = 0;
    zepl::pipe_value_get(m.pipe(a[0]), &cell);
    zepl::pipe_value_put(m.pipe(a[1]), &cell);
    return cell;
}

// 1 when the memory is zeroed and aligned to 64 bytes; it is left full.
Result allocate(Machine&, Arguments a) {
    const auto bytes = static_cast<std::size_t>(a[0]);
    auto* memory = static_cast<unsigned char*>(zepl::ralloc(bytes));
    bool good = reinterpret_cast<std::uintptr_t>(memory) % 64 == 0;
    for (std::size_t i = 0; i < bytes; ++i) good = good && memory[i] == 0;
    std::memset(memory, 0xFF, bytes);
    return good ? 1 : 0;
}

// The next event as it is; without one, the status less 10^10.
Result takeImmediate(Machine& m, Arguments a) {
    std::int32_t found = 0;
    const std::int64_t position = zepl::trigger_get_immediate(m.trigger(a[0]), &found);
    return found != 0 ? position : position - 10'000'000'000;
}

template <Step* step>
Result faulty(Machine&, Arguments a) {
    return step(a[0]);
}

struct StepRow {
    const char* name;
    std::int64_t (*perform)(Machine&, Arguments);
};

constexpr StepRow steps[] = {
    // clang-format off
    {"open_read", [](Machine& m, Arguments a) { return open(m, a[0], zepl::OpenMode::read); }},
    {"open_write", [](Machine& m, Arguments a) { return open(m, a[0], zepl::OpenMode::write); }},
    {"pipe_num", [](Machine& m, Arguments a) -> Result { return zepl::pipe_num(m.pipe(a[0])); }},
    {"pipe_num_complete", [](Machine& m, Arguments a) -> Result { return zepl::pipe_num_complete(m.pipe(a[0]), count(a[1])); }},
    {"pipe_rem", [](Machine& m, Arguments a) { zepl::pipe_rem(m.pipe(a[0]), count(a[1])); return a[1]; }},
    {"pipe_get", [](Machine& m, Arguments a) -> Result { return zepl::pipe_get(m.pipe(a[0])); }},
    {"pipe_put", [](Machine& m, Arguments a) { zepl::pipe_put(m.pipe(a[0]), count(a[1])); return a[1]; }},
    {"pbuf_open", openBlock},
    {"pbuf_set_min_cnt", [](Machine& m, Arguments a) { zepl::pbuf_set_min_cnt(m.pbufs[a[0]], count(a[1])); return a[1]; }},
    {"pbuf_set_max_cnt", [](Machine& m, Arguments a) { zepl::pbuf_set_max_cnt(m.pbufs[a[0]], count(a[1])); return a[1]; }},
    {"pbuf_get_data_ptr", [](Machine& m, Arguments a) { return address(zepl::pbuf_get_data_ptr(m.pbufs[a[0]])); }},
    {"pbuf_set_data_ptr", share},
    {"pbuf_get", [](Machine& m, Arguments a) -> Result { return zepl::pbuf_get(m.pbufs[a[0]]); }},
    {"pbuf_get_cnt", [](Machine& m, Arguments a) -> Result { return zepl::pbuf_get_cnt(m.pbufs[a[0]]); }},
    {"pbuf_set_cnt", [](Machine& m, Arguments a) { zepl::pbuf_set_cnt(m.pbufs[a[0]], count(a[1])); return a[1]; }},
    {"pbuf_put", [](Machine& m, Arguments a) { zepl::pbuf_put(m.pbufs[a[0]]); return a[0]; }},
    {"trigger_num", [](Machine& m, Arguments a) -> Result { return zepl::trigger_num(m.trigger(a[0])); }},
    {"trigger_get", [](Machine& m, Arguments a) -> Result { return zepl::trigger_get(m.trigger(a[0])); }},
    {"trigger_get_immediate", takeImmediate},
    {"trigger_get_status", [](Machine& m, Arguments a) -> Result { return zepl::trigger_get_status(m.trigger(a[0])); }},
    {"trigger_put", [](Machine& m, Arguments a) { zepl::trigger_put(m.trigger(a[0]), word(a[1])); return a[1]; }},
    {"trigger_set_status", [](Machine& m, Arguments a) { zepl::trigger_set_status(m.trigger(a[0]), word(a[1])); return a[1]; }},
    {"trigger_updt_put", [](Machine& m, Arguments a) { zepl::trigger_updt_put(m.trigger(a[0]), word(a[1])); return a[1]; }},
    {"trigger_updt_status", [](Machine& m, Arguments a) { zepl::trigger_updt_status(m.trigger(a[0]), word(a[1])); return a[1]; }},
    {"trigger_wait", [](Machine& m, Arguments a) -> Result { return zepl::trigger_wait(m.trigger(a[0]), m.pipe(a[1]), 0, 1); }},
    {"trigger_get_opmode", [](Machine& m, Arguments a) -> Result { return zepl::trigger_get_opmode(m.trigger(a[0])); }},
    {"trigger_get_property", [](Machine& m, Arguments a) -> Result { return zepl::trigger_get_property(m.trigger(a[0]), word(a[1])); }},
    {"param_type", [](Machine& m, Arguments a) -> Result { return m.kind(a[0]); }},
    {"vector_length", [](Machine& m, Arguments a) -> Result { return zepl::vector_length(m.vector(a[0])); }},
    {"vector_type", [](Machine& m, Arguments a) -> Result { return zepl::vector_type(m.vector(a[0])); }},
    {"vector_start", [](Machine& m, Arguments a) -> Result { return element(zepl::vector_start(m.vector(a[0])), a[1]); }},
    {"task_switch", [](Machine&, Arguments) -> Result { zepl::task_switch(); return 0; }},
    {"task_pause", [](Machine&, Arguments a) { zepl::task_pause(word(a[0])); return a[0]; }},
    {"exit", [](Machine&, Arguments a) -> Result { zepl::exit(word(a[0])); }},
    {"param_error_msg", [](Machine&, Arguments a) -> Result { zepl::param_error_msg(static_cast<zepl::ParamError>(a[0]), count(a[1])); }},
    {"RaiseException", [](Machine&, Arguments a) -> Result { zepl::RaiseException(static_cast<zepl::Fault>(a[0])); }},
    {"sys_get_info", [](Machine&, Arguments a) -> Result { return zepl::sys_get_info(static_cast<zepl::SysInfo>(a[0])); }},
    {"sys_get_time", [](Machine&, Arguments) -> Result { return zepl::sys_get_time(); }},
    {"sys_get_task_ID", [](Machine&, Arguments) -> Result { return zepl::sys_get_task_ID(); }},
    {"digital_set_bit", [](Machine&, Arguments a) { zepl::digital_set_bit(word(a[0]), word(a[1])); return a[1]; }},
    {"ralloc", allocate},
    {"malloc", [](Machine&, Arguments a) { return address(zepl::malloc(static_cast<std::size_t>(a[0]))); }},
    {"free", [](Machine&, Arguments a) { zepl::free(reinterpret_cast<void*>(a[0])); return a[0]; }},
    {"printf", [](Machine&, Arguments a) -> Result { return zepl::printf("%lld\n", static_cast<long long>(a[0])); }},
    // More than one operation, or none.
    {"move", moveOne},
    {"element", [](Machine& m, Arguments a) -> Result { return element(zepl::pbuf_get_data_ptr(m.pbufs[a[0]]), a[1]); }},
    {"fill", putBlock},
    {"copy", copyBlock},
    {"value", [](Machine& m, Arguments a) -> Result { return *zepl::valueIn<std::int32_t>(m.params[a[0]]); }},
    {"value64", [](Machine& m, Arguments a) { return *zepl::valueIn<std::int64_t>(m.params[a[0]]); }},
    {"store", [](Machine& m, Arguments a) { return *zepl::valueIn<std::int64_t>(m.params[a[0]]) = a[1]; }},
    {"text", [](Machine& m, Arguments a) -> Result { return zepl::printf("%s\n", zepl::valueIn<char>(m.params[a[0]])); }},
    {"vector_store", [](Machine& m, Arguments a) -> Result { return static_cast<std::int32_t*>(zepl::vector_start(m.vector(a[0])))[a[1]] = count(a[2]); }},
    {"throw", faulty<throwError>}, {"thrownumber", faulty<throwNumber>}, {"null", faulty<useNullPointer>},
    {"wild", faulty<useWildPointer>}, {"trap", faulty<trap>}, {"abort", faulty<abortProgram>},
    {"leave", faulty<exitProgram>}, {"leavequickly", faulty<quickExitProgram>}, {"heap", faulty<heapBytes>},
    {"roundup", faulty<roundUpwards>}, {"forkleave", faulty<forkAndQuickExit>}, {"forknull", faulty<forkAndUseNullPointer>},
    // clang-format on
};

const char* readArgument(Machine& m, const char* at, std::int64_t& argument) {
    if (*at == '#' || *at == '$') {
        argument = *at == '#' ? m.uses++ : m.result;
        return at + 1;
    }
    char* end = nullptr;
    argument = std::strtoll(at, &end, 0);
    return end;
}

const char* performStep(Machine& m, const char* at) {
    const bool prints = *at == '?';
    if (prints) ++at;
    const char* const name = at;
    const std::size_t length = std::strcspn(at, ": ");
    std::int64_t arguments[4] = {};
    at += length;
    for (int i = 0; *at == ':' || *at == ','; ++i) at = readArgument(m, at + 1, arguments[i]);
    for (const StepRow& step : steps) {
        if (std::strlen(step.name) != length || std::strncmp(step.name, name, length) != 0) continue;
        m.result = step.perform(m, arguments);
        if (prints) zepl::printf("%lld\n", static_cast<long long>(m.result));
        return at;
    }
    zepl::printf("no step %.*s\n", static_cast<int>(length), name);
    zepl::exit(99);
}

void perform(Machine& m, const char* at) {
    struct Loop {
        const char* body;
        long left;  // negative: for ever
    } loops[8];
    int depth = 0;
    while (*(at += std::strspn(at, " ")) != '\0') {
        if (*at == ')') {
            Loop& loop = loops[depth - 1];
            const bool again = loop.left < 0 || --loop.left > 0;
            at = again ? loop.body : at + 1;
            if (!again) --depth;
        } else if (*at == '*' || (*at >= '0' && *at <= '9')) {
            const long times = *at == '*' ? -1 : std::strtol(at, nullptr, 10);
            at = std::strchr(at, '(') + 1;
            loops[depth++] = {at, times};
        } else {
            at = performStep(m, at);
        }
    }
}

}  // namespace

std::uint32_t script(ParamList list) {
    constexpr zepl::ParamMask anyKind = 0x0FFFFFFF;
    std::int32_t given = 0;
    Machine m;
    m.list = list;
    m.params = zepl::param_process(list, &given, 1, 16, zepl::stringKind, zepl::beginRepeat, anyKind, zepl::endRepeat);
    const char* text = zepl::valueIn<char>(m.params[1]);
    const bool returns = *text == '!';
    perform(m, returns ? text + 1 : text);
    while (!returns) zepl::task_switch();
    return static_cast<std::uint32_t>(m.result);
}

}  // namespace probe
