// Modules and the commands that they install.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/modules.h"

namespace libzepl {

// The runtime's own versions, in hundredths, which a module is asked about before it installs anything.
inline constexpr std::uint32_t hostBuildVersion = 100;
inline constexpr std::uint32_t hostInterfaceVersion = 104;

struct Command {
    std::string name;
    zepl::CommandRoutine entry = nullptr;
    std::optional<std::string> signature;
    std::vector<std::string> words;  // of the keyword sets that the signature declares
    std::uint32_t taskSpace = 0;     // bytes of stack beyond the usual
    std::uint32_t attributes = 0;
    std::string module;  // the module's name
};

struct LoadedModule {
    std::string name;  // the file's name without its ending
    std::filesystem::path path;
    std::uint32_t buildVersion = 0;
    std::uint32_t interfaceVersion = 0;
    bool compatible = false;  // the module's answer about this host
};

// The commands of the modules that were loaded, in the order of installation. Sessions refer to it, so it must outlive them.
class CommandLibrary {
 public:
    CommandLibrary() = default;
    CommandLibrary(const CommandLibrary&) = delete;
    CommandLibrary& operator=(const CommandLibrary&) = delete;
    ~CommandLibrary();

    // Loads a module and lets it install its commands. A file that cannot be loaded, is no module, refuses this host, or
    // fails to install is a Problem, and nothing of it stays.
    void load(const std::filesystem::path& path);

    // Registers a command, as a module does by CommandInstall. False, with the reason noted for the Problem of load(), when
    // the record is none, the name is taken, or the signature cannot be read.
    bool install(const char* name, zepl::CommandRoutine entry, const zepl::CommandInfo& info);

    const Command* find(std::string_view name) const;
    const std::deque<Command>& commands() const { return commands_; }
    const std::vector<LoadedModule>& modules() const { return modules_; }

 private:
    void installAll(const std::filesystem::path& path, void* handle);
    bool refuse(const std::string& reason);

    std::deque<Command> commands_;
    std::vector<LoadedModule> modules_;
    std::vector<void*> handles_;
    std::string refusal_;  // why the last install failed
    std::string loading_;  // the name of the module that is being loaded
};

// What was printed outside a session, as by a module's start-up. Taking it empties it.
std::string takeLoadConsole();

}  // namespace libzepl
