// Modules and the commands that they install.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/modules.h"

namespace libzepl {

// The runtime's own versions, in hundredths, which a module is asked about before it installs anything.
inline constexpr std::uint32_t hostBuildVersion = 100;
inline constexpr std::uint32_t hostInterfaceVersion = 104;

// "1.04" for a version in hundredths.
std::string versionText(std::uint32_t hundredths);

struct Signature;

// A signature that can be read, parsed when it is looked at first: from any thread. It points to the parsed form, or is null where
// a command has none.
class ParsedSignature {
 public:
    ParsedSignature() = default;
    explicit ParsedSignature(std::string text);

    const Signature* get() const;
    const Signature& operator*() const { return *get(); }
    const Signature* operator->() const { return get(); }
    explicit operator bool() const { return state_ != nullptr; }
    bool operator==(std::nullptr_t) const { return state_ == nullptr; }

 private:
    struct State;
    std::shared_ptr<State> state_;
};

struct Command {
    std::string name;
    zepl::CommandRoutine entry = nullptr;
    std::optional<std::string> signature;
    ParsedSignature parsed;
    std::uint32_t taskSpace = 0;  // bytes of stack beyond the usual
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

// The modules that a program loads unless it is told otherwise: zcmds3.zlm beside the library or else all in the folder
// zepl/modules there, and all in the folders that $ZEPL_MODULE_PATH names, with colons between them; by their names in each. A
// Problem where it names what is no folder.
std::vector<std::filesystem::path> defaultModules();

// The commands of the modules that were loaded, in the order of installation. Sessions refer to it, so it must outlive them.
class CommandLibrary {
 public:
    CommandLibrary() = default;
    CommandLibrary(const CommandLibrary&) = delete;
    CommandLibrary& operator=(const CommandLibrary&) = delete;
    ~CommandLibrary();

    // Whom to say that a module damaged the memory of the process, or ended it, while it was loaded: in a signal's handler,
    // where nothing may be allocated or locked. It says what happened and ends the process. Without it the signal goes where
    // it went before.
    void onCrash(std::function<void(const char* what)> tell) { crashed_ = std::move(tell); }

    // Loads a module and lets it install its commands. A file that cannot be loaded, is no module, refuses this host, or
    // fails to install is a Problem, and nothing of it stays.
    void load(const std::filesystem::path& path);

    // Registers a command, as a module does by CommandInstall. False, with the reason noted for the Problem of load(), when
    // the record is none, the name is taken, or the signature cannot be read.
    bool install(const char* name, zepl::CommandRoutine entry, const zepl::CommandInfo& info);

    const Command* find(std::string_view name) const;
    const std::deque<Command>& commands() const { return commands_; }
    // The words of the host's keyword sets and of those that any signature declares.
    const std::vector<std::string>& words() const { return words_; }
    const std::vector<LoadedModule>& modules() const { return modules_; }

 private:
    void installAll(const std::filesystem::path& path, void* handle);
    bool refuse(const std::string& reason);

    std::deque<Command> commands_;
    std::vector<std::string> words_{"inside", "outside"};
    std::vector<LoadedModule> modules_;
    std::vector<void*> handles_;
    std::string refusal_;  // why installs of the module failed
    int refusals_ = 0;     // how many did
    std::string loading_;  // the name of the module that is being loaded
    std::function<void(const char*)> crashed_;
};

// What was printed outside a session, as by a module's start-up. Taking it empties it.
std::string takeLoadConsole();

}  // namespace libzepl
