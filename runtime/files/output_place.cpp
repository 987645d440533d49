#include "runtime/files/output_place.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <system_error>

#include "runtime/files.h"
#include "runtime/files/input_file.h"

namespace libzepl {

namespace {

namespace fs = std::filesystem;

bool allDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Eight digits that a text always gives.
std::string digest(std::string_view text) {
    std::uint32_t hash = 2166136261U;  // FNV-1a (Fowler, Noll and Vo, 1991)
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string shown;
    for (int shift = 28; shift >= 0; shift -= 4) shown += digits[(hash >> shift) & 15];
    return shown;
}

fs::path folderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

std::size_t maxName(const fs::path& folder) {
    const long most = ::pathconf(folder.c_str(), _PC_NAME_MAX);
    return most > 0 ? static_cast<std::size_t>(most) : NAME_MAX;
}

// The beginning of a name that leaves room for `suffix` bytes, with a digest of what is left out.
std::string stemOf(const fs::path& path, std::size_t suffix) {
    const std::string name = path.filename().string();
    const std::size_t max = maxName(folderOf(path));
    if (name.size() + suffix <= max) return name;
    std::size_t kept = max - std::min(max, suffix + 9);
    while (kept > 0 && (static_cast<unsigned char>(name[kept]) & 0xC0) == 0x80) --kept;
    return name.substr(0, kept) + "~" + digest(name);
}

// Tells this machine's temporary files from those that another one writes in a shared folder.
const std::string& machineMark() {
    static const std::string mark = [] {
        char name[256] = "";
        ::gethostname(name, sizeof name - 1);
        return digest(name);
    }();
    return mark;
}

// A temporary name is the stem, then ".PROCESS-NUMBER-MACHINE.part".
constexpr std::size_t maxTemporarySuffix = 1 + 10 + 1 + 10 + 1 + 8 + 5;

bool isTemporarySuffix(std::string_view text) {
    const std::string ending = "-" + machineMark() + ".part";
    if (!text.starts_with('.') || !text.ends_with(ending) || text.size() < ending.size() + 4) return false;
    text = text.substr(1, text.size() - 1 - ending.size());
    const std::size_t dash = text.find('-');
    return dash != std::string_view::npos && allDigits(text.substr(0, dash)) && allDigits(text.substr(dash + 1));
}

// Removes the file if its writer is dead. Whoever holds the lock on a file may rename or remove it.
void removeIfDead(const fs::path& path) {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return;
    struct stat opened {
    }, named{};
    const bool ours = ::fstat(descriptor, &opened) == 0 && S_ISREG(opened.st_mode) && opened.st_uid == ::geteuid();
    if (ours && ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 && ::lstat(path.c_str(), &named) == 0 &&
        named.st_dev == opened.st_dev && named.st_ino == opened.st_ino)
        ::unlink(path.c_str());
    ::close(descriptor);
}

// The descriptor of this process that the path is an entry of, links not followed.
std::optional<int> ownDescriptor(const fs::path& path) {
    const std::string name = path.filename().string();
    if (!allDigits(name) || name.size() > 9) return std::nullopt;
    std::error_code error;
    const fs::path folder = fs::canonical(folderOf(path), error);
    if (error || folder != "/proc/" + std::to_string(::getpid()) + "/fd") return std::nullopt;
    return std::stoi(name);
}

// Follows symbolic links, up to a descriptor of this process.
fs::path followed(const fs::path& named) {
    constexpr int maxLinks = 40;
    fs::path path = named;
    for (int links = 0; links <= maxLinks; ++links) {
        std::error_code error;
        if (ownDescriptor(path) || !fs::is_symlink(fs::symlink_status(path, error))) return path;
        const fs::path target = fs::read_symlink(path, error);
        if (error) return path;
        path = target.is_absolute() ? target : folderOf(path) / target;
    }
    throw fileProblem(named.string(), "its symbolic links lead round in a circle", "name the file itself");
}

void checkWritable(const std::string& name, const fs::path& path, const struct stat& status) {
    if ((status.st_mode & 0222) == 0)
        throw fileProblem(name, "the file is write-protected", "write to another file, or allow it: chmod u+w");
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        throw fileProblem(name, "you are not permitted to write to it", "write to another file");
}

}  // namespace

std::optional<int> descriptorNamed(const fs::path& named) { return ownDescriptor(followed(named)); }

OutputPlace outputPlaceOf(const fs::path& named) {
    const std::string name = named.string();
    OutputPlace place;
    place.path = followed(named);
    place.descriptor = ownDescriptor(place.path);
    struct stat status {};
    if (::stat(place.path.c_str(), &status) != 0) {
        if (errno == ENAMETOOLONG) throw fileProblem(name, "the name is too long", "name it in at most 255 bytes");
        return place;
    }
    if (S_ISDIR(status.st_mode)) throw fileProblem(name, "is a folder", "name a file in it");
    if (place.descriptor || !S_ISREG(status.st_mode)) {
        place.kind = OutputPlace::Kind::stream;
        place.isFifo = S_ISFIFO(status.st_mode);
        return place;
    }
    checkWritable(name, place.path, status);
    place.kind = OutputPlace::Kind::file;
    return place;
}

fs::path writtenPath(const fs::path& named) { return outputPlaceOf(named).path; }

bool isStream(const fs::path& named) {
    if (named == "-" || isAddress(named)) return true;
    struct stat status {};
    if (::stat(named.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return false;
    return !S_ISREG(status.st_mode) || descriptorNamed(named).has_value();
}

fs::path withSuffix(const fs::path& path, std::string_view suffix) {
    return path.parent_path() / stemOf(path, suffix.size()).append(suffix);
}

fs::path temporaryNameOf(const fs::path& path) {
    static std::atomic<unsigned> number{0};
    return path.parent_path() / (stemOf(path, maxTemporarySuffix) + "." + std::to_string(::getpid()) + "-" +
                                 std::to_string(number++) + "-" + machineMark() + ".part");
}

// On a file system without locks all count as living, so that nothing is removed.
bool markLiving(int descriptor) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && status.st_nlink > 0;
}

void removeDeadTemporaries(const fs::path& path) {
    const std::string stem = stemOf(path, maxTemporarySuffix);
    // Walked by the form that throws: the other terminates the program when memory runs out.
    try {
        for (const fs::directory_entry& entry : fs::directory_iterator(folderOf(path))) {
            const std::string name = entry.path().filename().string();
            if (name.starts_with(stem) && isTemporarySuffix(std::string_view(name).substr(stem.size())))
                removeIfDead(entry.path());
        }
    } catch (const fs::filesystem_error&) {
        return;  // a folder that cannot be listed can be written to all the same
    }
}

}  // namespace libzepl
