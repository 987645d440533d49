// Loading of modules, installing of commands, the console, and the services of the start-up layer.
#pragma once

#include "codes.h"
#include "handles.h"

namespace zepl {

// A command's task entry. A loop that ends by itself returns a word; its value is ignored.
using CommandRoutine = std::uint32_t (*)(ParamList list);

// What a module says of a command. The host copies what it keeps; name and signature texts are static.
struct CommandInfo {
    std::uint32_t recordSize;  // 16 on every machine: it names this layout
    std::uint32_t taskSpace;   // bytes of stack that the command wants beyond the usual
    std::uint32_t attributes;  // 0x80000000 for all commands
    const char* signature;     // the signature string, or null
};
static_assert(sizeof(void*) != 4 || sizeof(CommandInfo) == 16);

// Filled by ModuleVersion when recordSize is at least 12. Versions are in hundredths: 152 is 1.52.
struct VersionRecord {
    std::uint32_t recordSize;
    std::uint32_t buildVersion;
    std::uint32_t interfaceVersion;
};

// Registers a command under its upper-case name. Not zero when it is installed.
std::uint32_t CommandInstall(InstallContext context, const char* name, CommandRoutine entry, const CommandInfo* info);

// The loaded module of that name, "ZEPL" being the host itself; 0 when there is none.
ModuleHandle ModuleOpen(const char* name);

// The address of the module's entry of that name, or null.
void* ModuleProcAddressGet(ModuleHandle module, const char* name);

void ModuleClose(ModuleHandle module);

// Text to the host's console, as in the C library. Returns the number of characters.
[[gnu::format(printf, 1, 2)]] std::int32_t printf(const char* format, ...);

// As in the C library.
[[gnu::format(scanf, 2, 3)]] std::int32_t sscanf(const char* text, const char* format, ...);

// The calling task ends with the fault. Does not return.
[[noreturn]] void RaiseException(Fault fault);

// Leaves the calling task's frames: ends the task, since a task is never unwound. Does not return.
[[noreturn]] void RtlUnwind(void* targetFrame, void* targetAddress, void* exceptionRecord, void* returnValue);

}  // namespace zepl
