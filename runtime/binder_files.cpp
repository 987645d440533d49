#include "runtime/binder_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <map>

namespace libzepl {

namespace {

std::optional<ChannelFile> fileOf(const Procedure& procedure, const std::string& option,
                                  const std::map<std::string, std::string>& given, const std::string& name,
                                  const std::optional<FileClause>& declared) {
    const auto replaced = given.find(name);
    if (replaced == given.end()) {
        if (!declared) return std::nullopt;
        return ChannelFile{*declared, pathBeside(procedure, declared->path), {}};
    }
    ChannelFile file{declared.value_or(FileClause{}), replaced->second, option + " " + name};
    file.clause.path = replaced->second;
    file.clause.place = {};
    return file;
}

std::string identityOf(const struct stat& status) {
    if (!S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISDIR(status.st_mode)) return {};
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace

std::filesystem::path pathBeside(const Procedure& procedure, const std::string& name) {
    if (name == "-" || std::filesystem::path(name).is_absolute()) return name;
    return std::filesystem::path(procedure.source.name).parent_path() / name;
}

std::optional<ChannelFile> inputFile(const Procedure& procedure, const BindOptions& options, const std::string& name,
                                     const std::optional<FileClause>& declared) {
    return fileOf(procedure, "--in", options.inputs, name, declared);
}

std::optional<ChannelFile> outputFile(const Procedure& procedure, const BindOptions& options, const std::string& name,
                                      const std::optional<FileClause>& declared) {
    return fileOf(procedure, "--out", options.outputs, name, declared);
}

std::string identityOf(const std::filesystem::path& path) {
    if (path == "-") return "-";
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) return identityOf(status);
    std::error_code error;
    // The canonical form of a relative path that is not there stays relative.
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error);
    return error ? path.string() : canonical.string();
}

std::string identityOf(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 ? identityOf(status) : std::string();
}

std::string useOfFile(const Procedure& procedure, const CommandLibrary& library, const BindOptions& options,
                      const std::filesystem::path& path) {
    std::map<std::string, std::string> uses;
    const auto add = [&](const std::filesystem::path& used, int standard, const std::string& use) {
        uses.emplace(used == "-" ? identityOf(standard) : identityOf(used), use);
        if (used == "-" && standard == STDOUT_FILENO) uses.emplace("-", use);
    };
    const auto addChannel = [&](const auto& channel) {
        const std::string name = libzepl::quoted(channel.name);
        if (const auto from = inputFile(procedure, options, channel.name, channel.from))
            add(from->path, STDIN_FILENO, "is read by " + name);
        if (const auto to = outputFile(procedure, options, channel.name, channel.to))
            add(to->path, STDOUT_FILENO, "is written by " + name);
    };
    add(procedure.source.name, -1, "is the procedure");
    for (const LoadedModule& module : library.modules()) add(module.path, -1, "is a module");
    for (const PipeDeclaration& pipe : procedure.pipes) addChannel(pipe);
    for (const TriggerDeclaration& trigger : procedure.triggers) addChannel(trigger);
    for (const VectorDeclaration& vector : procedure.vectors)
        if (vector.from)
            add(pathBeside(procedure, vector.from->path), STDIN_FILENO, "is read by " + libzepl::quoted(vector.name));
    uses.erase("");
    const auto found = uses.find(identityOf(path));
    return found == uses.end() ? std::string() : found->second;
}

}  // namespace libzepl
