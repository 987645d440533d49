#include "runtime/binder_files.h"

#include <set>

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
    std::error_code error;
    // The canonical form of a relative path that is not there stays relative.
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error);
    return error ? path.string() : canonical.string();
}

bool usesFile(const Procedure& procedure, const BindOptions& options, const std::filesystem::path& path) {
    std::set<std::string> used{identityOf(procedure.source.name)};
    const auto add = [&](const std::optional<ChannelFile>& file) {
        if (file) used.insert(identityOf(file->path));
    };
    const auto addBoth = [&](const auto& channel) {
        add(inputFile(procedure, options, channel.name, channel.from));
        add(outputFile(procedure, options, channel.name, channel.to));
    };
    for (const PipeDeclaration& pipe : procedure.pipes) addBoth(pipe);
    for (const TriggerDeclaration& trigger : procedure.triggers) addBoth(trigger);
    for (const VectorDeclaration& vector : procedure.vectors)
        if (vector.from) used.insert(identityOf(pathBeside(procedure, vector.from->path)));
    return used.count(identityOf(path)) != 0;
}

}  // namespace libzepl
