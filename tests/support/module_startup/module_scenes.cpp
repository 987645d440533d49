// Scenes in which the host loads a module.

#include <dlfcn.h>

#include "frame/mathematics.h"
#include "recording_host.h"

namespace recording {

namespace {

void* load(const char* file) {
    void* handle = ::dlopen(file, RTLD_LAZY | RTLD_LOCAL);
    if (handle == nullptr) throw Left{::dlerror()};
    return handle;
}

template <class Function>
Function* entryOf(void* module, const char* name) {
    void* address = ::dlsym(module, name);
    if (address == nullptr) throw Left{::dlerror()};
    return reinterpret_cast<Function*>(address);
}

std::uint32_t installCommands(const char* file) {
    void* module = load(file);
    if (host.terminated) throw Left{"not installed"};
    return entryOf<std::uint32_t(zepl::InstallContext)>(module, "ModuleInstall")(zepl::InstallContext{0x89abcdef});
}

void runAbsoluteValues(const char* file, zepl::ParamMask kind) {
    installCommands(file);
    host.kinds = {0, kind, kind};
    host.slots = {0, 21, 22};
    host.blocks = {{-1, 2, -32768}, {}, {-5}};
    note("returned %u", host.commands.at("ABS")(zepl::ParamList{9}));
}

}  // namespace

void install(const char* file) { note("result %u", installCommands(file)); }

void mathematics(const char* file) {
    const zcmds::Mathematics& bound = *entryOf<const zcmds::Mathematics*()>(load(file), "boundMathematics")();
    const double x = 0.5, y = 0.25;
    const auto noteBoth = [](const char* name, double scalar, auto computeArray) {
        double result = 0;
        computeArray(&result);
        note("%s %a, array %a", name, scalar, result);
    };
    noteBoth("exp", bound.exp(x), [&](double* result) { bound.expArray(&x, result, 1); });
    noteBoth("log10", bound.log10(x), [&](double* result) { bound.log10Array(&x, result, 1); });
    noteBoth("cos", bound.cos(x), [&](double* result) { bound.cosArray(&x, result, 1); });
    noteBoth("sin", bound.sin(x), [&](double* result) { bound.sinArray(&x, result, 1); });
    noteBoth("atan2", bound.atan2(x, y), [&](double* result) { bound.atan2Array(&x, &y, result, 1); });
    noteBoth("pow", bound.pow(x, y), [&](double* result) { bound.powArray(&x, &y, result, 1); });
}

void absoluteValues(const char* file) { runAbsoluteValues(file, zepl::pipeInt16); }

// Blocks of one element with these times and variations.
void loadingTimes(const char* file) {
    installCommands(file);
    static const std::int16_t size = 1;
    static const std::int32_t times[][2] = {{100, 0}, {100, 50}, {2147483647, 2147483646}};
    const auto slot = [](const auto& value) { return reinterpret_cast<zepl::Slot>(&value); };
    for (const auto& [busy, variation] : times) {
        host.kinds = {0,
                      zepl::pipeInt16,
                      zepl::constantInt16,
                      zepl::constantInt32,
                      zepl::constantInt32,
                      zepl::pipeInt16,
                      zepl::constantInt16};
        host.slots = {0, 21, slot(size), slot(busy), slot(variation), 22, slot(size)};
        host.blocks = {{5}};
        try {
            host.commands.at("LOADING")(zepl::ParamList{9});
        } catch (const Left& left) {
            note("%s", left.call.c_str());
        }
    }
}

// Two sources at the same positions: twice a status, a match, and the assertion of one again beside the other's status.
void coincidences(const char* file) {
    installCommands(file);
    host.kinds = {0, zepl::triggerKind, zepl::triggerKind, zepl::triggerKind};
    host.slots = {0, 31, 32, 33};
    host.events[zepl::TriggerHandle{31}] = {{5, false}, {5, false}, {10, true}, {10, true}};
    host.events[zepl::TriggerHandle{32}] = {{5, false}, {5, false}, {10, true}, {10, false}};
    host.commands.at("TAND")(zepl::ParamList{9});
}

void absoluteValuesOfTriggers(const char* file) { runAbsoluteValues(file, zepl::triggerKind); }

}  // namespace recording
