#include "recording_host.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace recording {

Host host;

void note(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::putchar('\n');
}

namespace {

constexpr std::ptrdiff_t areaSize = 1000;
std::int16_t memory[4][areaSize];
std::size_t areasGiven = 0;

unsigned number(auto handle) { return static_cast<unsigned>(handle); }

// Each differs from the standard function and from the others.
const std::map<std::string, void*> mathematicalFunctions{
    {"exp", reinterpret_cast<void*>(+[](double x) { return x + 1; })},
    {"log10", reinterpret_cast<void*>(+[](double x) { return x + 2; })},
    {"cos", reinterpret_cast<void*>(+[](double x) { return x + 3; })},
    {"sin", reinterpret_cast<void*>(+[](double x) { return x + 4; })},
    {"atan2", reinterpret_cast<void*>(+[](double y, double x) { return 10 * y + x; })},
    {"pow", reinterpret_cast<void*>(+[](double x, double y) { return 100 * x + y; })},
    {"exp_array", reinterpret_cast<void*>(+[](const double* x, double* r, std::int32_t) { *r = -*x - 1; })},
    {"log10_array", reinterpret_cast<void*>(+[](const double* x, double* r, std::int32_t) { *r = -*x - 2; })},
    {"cos_array", reinterpret_cast<void*>(+[](const double* x, double* r, std::int32_t) { *r = -*x - 3; })},
    {"sin_array", reinterpret_cast<void*>(+[](const double* x, double* r, std::int32_t) { *r = -*x - 4; })},
    {"atan2_array",
     reinterpret_cast<void*>(+[](const double* y, const double* x, double* r, std::int32_t) { *r = -10 * *y - *x; })},
    {"pow_array",
     reinterpret_cast<void*>(+[](const double* x, const double* y, double* r, std::int32_t) { *r = -100 * *x - *y; })},
};

}  // namespace

std::string place(const void* address) {
    if (address == nullptr) return "null";
    const auto* element = static_cast<const std::int16_t*>(address);
    for (const auto& [pbuf, area] : host.areas) {
        if (area == nullptr || element < area || element >= area + areaSize) continue;
        return "area " + std::to_string(number(pbuf)) + " + " + std::to_string(element - area);
    }
    return "elsewhere";
}

}  // namespace recording

namespace zepl {

using namespace recording;

ModuleHandle ModuleOpen(const char* name) {
    note("ModuleOpen %s", name);
    return host.absent ? ModuleHandle{} : ModuleHandle{7};
}

void* ModuleProcAddressGet(ModuleHandle module, const char* name) {
    note("look up %s in %u", name, number(module));
    if (host.lacking.contains(name) || host.lacking.contains("*")) return nullptr;
    const auto found = mathematicalFunctions.find(name);
    return found != mathematicalFunctions.end() ? found->second : &host;
}

void ModuleClose(ModuleHandle module) { note("ModuleClose %u", number(module)); }

std::int32_t printf(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vprintf(format, arguments);
    va_end(arguments);
    return length;
}

void terminate_msg() {
    note("terminate_msg");
    host.terminated = true;
}

std::uint32_t CommandInstall(InstallContext context, const char* name, CommandRoutine entry, const CommandInfo* info) {
    note("%s: context %x, record %u, space %x, attributes %x, %s", name, number(context), info->recordSize,
         info->taskSpace, info->attributes, info->signature == nullptr ? "no signature" : "signature");
    host.commands[name] = entry;
    return host.refusing.contains(name) ? 0 : 1;
}

void RaiseException(Fault fault) { throw Left{"RaiseException " + std::to_string(number(fault))}; }

Slot* param_process(ParamList list, std::int32_t* count, std::int32_t minimum, std::int32_t maximum, ...) {
    std::va_list masks;
    va_start(masks, maximum);
    const ParamMask first = va_arg(masks, ParamMask), second = va_arg(masks, ParamMask);
    va_end(masks);
    note("param_process %u: %d to %d, masks %x %x", number(list), minimum, maximum, first, second);
    *count = static_cast<std::int32_t>(host.slots.size()) - 1;
    return host.slots.data();
}

ParamMask param_type(ParamList list, std::int32_t index) {
    note("param_type %u at %d", number(list), index);
    return host.kinds.at(static_cast<std::size_t>(index));
}

void param_error_msg(ParamError code, std::int32_t index) {
    throw Left{"code " + std::to_string(number(code)) + " at " + std::to_string(index)};
}

void task_switch() { note("task_switch"); }

void pipe_open(PipeHandle pipe, OpenMode mode) { note("pipe_open %u mode %u", number(pipe), number(mode)); }

PbufHandle pbuf_open(PipeHandle pipe, std::int32_t capacity) {
    note("pbuf_open %u capacity %d", number(pipe), capacity);
    const auto pbuf = static_cast<PbufHandle>(100 + number(pipe));
    host.areas[pbuf] = capacity > 0 ? memory[areasGiven++] : nullptr;
    return pbuf;
}

void* pbuf_get_data_ptr(PbufHandle pbuf) {
    note("pbuf_get_data_ptr %u", number(pbuf));
    return host.areas[pbuf];
}

void pbuf_set_data_ptr(PbufHandle pbuf, void* data) {
    note("pbuf_set_data_ptr %u: %s", number(pbuf), place(data).c_str());
    host.areas[pbuf] = static_cast<std::int16_t*>(data);
}

void pbuf_set_min_cnt(PbufHandle pbuf, std::int32_t n) { note("pbuf_set_min_cnt %u: %d", number(pbuf), n); }
void pbuf_set_max_cnt(PbufHandle pbuf, std::int32_t n) { note("pbuf_set_max_cnt %u: %d", number(pbuf), n); }

std::int32_t pbuf_get(PbufHandle pbuf) {
    note("pbuf_get %u", number(pbuf));
    if (host.blocks.empty()) throw Left{"stopped"};
    const std::vector<std::int16_t> block = host.blocks.front();
    host.blocks.pop_front();
    std::copy(block.begin(), block.end(), host.areas[pbuf]);
    return static_cast<std::int32_t>(block.size());
}

void pbuf_put_set_cnt(PbufHandle pbuf, std::int32_t n) {
    std::string elements;
    for (std::int32_t i = 0; i < n; ++i) elements.append(" ").append(std::to_string(host.areas[pbuf][i]));
    note("pbuf_put_set_cnt %u: %d,%s", number(pbuf), n, elements.c_str());
}

void trigger_open(TriggerHandle trigger, OpenMode mode) {
    note("trigger_open %u mode %u", number(trigger), number(mode));
}

std::uint32_t trigger_get_immediate(TriggerHandle trigger, std::int32_t* flag) {
    auto& events = host.events[trigger];
    if (events.empty()) throw Left{"stopped"};
    const auto [position, asserts] = events.front();
    events.pop_front();
    *flag = asserts ? 1 : 0;
    return position;
}

void trigger_put(TriggerHandle trigger, std::uint32_t position) {
    note("trigger_put %u: %u", number(trigger), position);
}
void trigger_set_status(TriggerHandle trigger, std::uint32_t position) {
    note("trigger_set_status %u: %u", number(trigger), position);
}

std::uint64_t u64SystemTicksGet() {
    static std::uint64_t ticks = 0;
    return ++ticks;
}

std::uint64_t u64UsToSysTicks(std::uint32_t lowWord, std::uint32_t highWord) {
    note("u64UsToSysTicks %x %x", lowWord, highWord);
    return 0;
}

void* ralloc(std::size_t bytes) {
    static std::deque<std::vector<double>> pool;
    return pool.emplace_back(bytes / sizeof(double) + 1).data();
}

}  // namespace zepl
