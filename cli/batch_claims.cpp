#include "cli/batch_claims.h"

#include <sys/stat.h>

#include "runtime/diagnostics.h"
#include "runtime/output_files.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

// What a name leads to when it is written, also by a link to what is not there.
fs::path targetOf(const fs::path& file) {
    try {
        return libzepl::writtenPath(file);
    } catch (const libzepl::Problem&) {
        return file;  // it cannot be written, as is said when its recording is run
    }
}

}  // namespace

std::string FileIdentities::of(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) == 0) return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    return placeOf(file).string();
}

fs::path FileIdentities::placeOf(const std::string& file) {
    const fs::path target = targetOf(file), folder = target.parent_path();
    auto found = folders_.find(folder);
    if (found == folders_.end()) {
        std::error_code none;
        const fs::path absolute = fs::absolute(folder.empty() ? "." : folder, none);
        const fs::path canonical = fs::weakly_canonical(absolute, none);
        found = folders_.emplace(folder, none ? absolute : canonical).first;
    }
    return (found->second / target.filename()).lexically_normal();
}

void FileClaims::noteRead(const std::string& file, const std::string& use) { read_.emplace(identities_.of(file), use); }

std::string FileClaims::write(const std::string& file, const std::string& whose) {
    const std::string identity = identities_.of(file), name = libzepl::quoted(file);
    if (const auto read = read_.find(identity); read != read_.end()) return name + " " + read->second;
    const auto [first, isNew] = written_.emplace(identity, whose);
    if (isNew) return {};
    if (first->second == "the table") return name + " is the table, or kept beside it";
    if (first->second == whose) return name + " would be written twice for " + whose;
    return first->second + " and " + whose + " would both write " + name;
}

}  // namespace cli
