#include "runtime/commands.h"

#include <dlfcn.h>

#include <utility>

#include "runtime/engine/load_state.h"
#include "runtime/engine/stack_guard.h"
#include "runtime/signature.h"

namespace libzepl {

namespace {

template <class Function>
Function* entryOf(void* handle, const char* name, const std::filesystem::path& path) {
    void* address = ::dlsym(handle, name);
    if (address == nullptr)
        throw Problem(libzepl::quoted(path.string()) + " is no module: it has no " + name,
                      "name a file with the ending .zlm that exports ModuleInstall");
    return reinterpret_cast<Function*>(address);
}

std::string withoutLineEnd(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text;
}

// Opens the file, letting the module's start-up run.
void* openModule(const std::filesystem::path& path) {
    if (!std::filesystem::exists(path))
        throw Problem("there is no module file " + libzepl::quoted(path.string()),
                      "build it, or name the file of a module");
    loadState().terminated = false;
    takeLoadConsole();
    void* handle = ::dlopen(std::filesystem::absolute(path).c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle == nullptr)
        throw Problem(libzepl::quoted(path.string()) + " cannot be loaded as a module: " + ::dlerror(),
                      "name a file with the ending .zlm that was built for this machine");
    return handle;
}

// While it lives, a module is loaded, and faults in its code are said to be its own.
class Loading {
 public:
    explicit Loading(const std::function<void(const char*)>& crashed) { loadState().crashed = &crashed; }
    Loading(const Loading&) = delete;
    Loading& operator=(const Loading&) = delete;
    ~Loading() {
        loadState().crashed = nullptr;
        loadState().library = nullptr;
    }

 private:
    StackGuard guard_;
};

// Calls an entry of the module. What it throws is said here, while the module that made it is still there.
template <class Entry, class... Given>
std::uint32_t callEntry(const std::string& file, const char* name, Entry* entry, Given... given) {
    const char* const remedy = "it is a fault of the module: report it to its author";
    try {
        return entry(given...);
    } catch (const std::bad_alloc&) {
        throw std::bad_alloc();
    } catch (const std::exception& exception) {
        throw Problem("an exception left " + std::string(name) + " of the module " + file + ": " +
                          libzepl::quoted(exception.what()),
                      remedy);
    } catch (...) {
        throw Problem("an exception left " + std::string(name) + " of the module " + file, remedy);
    }
}

}  // namespace

std::string versionText(std::uint32_t hundredths) {
    const std::uint32_t rest = hundredths % 100;
    return std::to_string(hundredths / 100) + "." + (rest < 10 ? "0" : "") + std::to_string(rest);
}

CommandLibrary::~CommandLibrary() {
    for (void* handle : handles_) ::dlclose(handle);
}

void CommandLibrary::load(const std::filesystem::path& path) {
    handles_.reserve(handles_.size() + 1);
    const Loading loading(crashed_);
    void* handle = openModule(path);
    const std::size_t before = commands_.size();
    try {
        installAll(path, handle);
    } catch (...) {
        while (commands_.size() > before) commands_.pop_back();
        ::dlclose(handle);
        throw;
    }
    handles_.push_back(handle);
}

void CommandLibrary::installAll(const std::filesystem::path& path, void* handle) {
    const std::string file = libzepl::quoted(path.string());
    if (loadState().terminated)
        throw Problem("the module " + file + " ended its start-up: " + withoutLineEnd(takeLoadConsole()),
                      "use a module and a host that go together");
    using Check = std::uint32_t(std::uint32_t, std::uint32_t, std::uint32_t);
    using Version = std::uint32_t(zepl::VersionRecord*);
    using Install = std::uint32_t(zepl::InstallContext);
    auto* check = entryOf<Check>(handle, "ModuleCompatibilityCheck", path);
    auto* tell = entryOf<Version>(handle, "ModuleVersion", path);
    auto* install = entryOf<Install>(handle, "ModuleInstall", path);
    if (callEntry(file, "ModuleCompatibilityCheck", check, hostBuildVersion, hostInterfaceVersion, std::uint32_t{0}) ==
        0)
        throw Problem("the module " + file + " refuses this host, build " + versionText(hostBuildVersion) +
                          ", interface " + versionText(hostInterfaceVersion),
                      "use a module that was made for it");
    zepl::VersionRecord record{.recordSize = sizeof record, .buildVersion = 0, .interfaceVersion = 0};
    if (callEntry(file, "ModuleVersion", tell, &record) == 0)
        throw Problem("the module " + file + " does not report its version", "use another build of the module");
    loading_ = path.stem().string();
    refusal_.clear();
    refusals_ = 0;
    loadState().library = this;
    const bool installed = callEntry(file, "ModuleInstall", install, static_cast<zepl::InstallContext>(1)) != 0;
    loadState().library = nullptr;
    if (!installed)
        throw Problem("the module " + file + " could not install its commands" +
                          (refusal_.empty() ? ", and reports no reason" : ": " + refusal_),
                      "use another build of the module");
    modules_.push_back({loading_, path, record.buildVersion, record.interfaceVersion, true});
}

bool CommandLibrary::refuse(const std::string& reason) {
    constexpr int maxReasons = 8;
    if (++refusals_ <= maxReasons) refusal_ += (refusal_.empty() ? "" : "; ") + reason;
    if (refusals_ == maxReasons + 1) refusal_ += "; and more";
    return false;
}

bool CommandLibrary::install(const char* name, zepl::CommandRoutine entry, const zepl::CommandInfo& info) {
    if (name == nullptr || *name == '\0' || entry == nullptr || info.recordSize < 16)
        return refuse("a command's record is incomplete");
    if (const Command* same = find(name))
        return refuse(std::string(name) + " is a command of the module " + libzepl::quoted(same->module) + " already");
    Command command{name, entry, std::nullopt, {}, info.taskSpace, info.attributes, loading_};
    if (info.signature != nullptr) {
        try {
            const std::vector<std::string> declared = checkSignature(info.signature);
            words_.insert(words_.end(), declared.begin(), declared.end());
        } catch (const SignatureError& error) {
            return refuse(command.name + " has a signature that cannot be read: " + error.what());
        }
        command.signature = info.signature;
        command.parsed = ParsedSignature(info.signature);
    }
    commands_.push_back(std::move(command));
    return true;
}

std::string takeLoadConsole() {
    LoadState& state = loadState();
    return {state.console.data(), std::exchange(state.printed, 0)};
}

const Command* CommandLibrary::find(std::string_view name) const {
    for (const Command& command : commands_)
        if (command.name == name) return &command;
    return nullptr;
}

}  // namespace libzepl
