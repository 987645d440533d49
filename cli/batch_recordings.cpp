#include "cli/batch_recordings.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "runtime/diagnostics.h"
#include "runtime/files.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using libzepl::Problem;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The run of digits at the front, without leading zeros; takes it away.
std::string_view takeDigits(std::string_view& text) {
    std::size_t end = 0;
    while (end < text.size() && isDigit(text[end])) ++end;
    std::string_view digits = text.substr(0, end);
    text.remove_prefix(end);
    while (digits.size() > 1 && digits[0] == '0') digits.remove_prefix(1);
    return digits;
}

int rankOf(char c) { return c == '/' ? -1 : static_cast<unsigned char>(c); }

std::vector<std::string> componentsOf(const fs::path& path) {
    std::vector<std::string> components;
    for (const fs::path& each : path)
        if (!each.empty() && each != "." && each != "/") components.push_back(each.string());
    return components;
}

bool fits(const std::string& component, const std::string& name) {
    return ::fnmatch(component.c_str(), name.c_str(), FNM_PERIOD) == 0;
}

// Whether the components of a path, from `at` on, fit those of a pattern from `from` on.
bool fits(const std::vector<std::string>& pattern, std::size_t from, const std::vector<std::string>& path,
          std::size_t at) {
    if (from == pattern.size()) return at == path.size();
    if (pattern[from] == "**")
        return fits(pattern, from + 1, path, at) ||
               (at + 1 < path.size() && !path[at].starts_with(".") && fits(pattern, from, path, at + 1));
    return at < path.size() && fits(pattern[from], path[at]) && fits(pattern, from + 1, path, at + 1);
}

bool isFolder(const fs::path& path) {
    std::error_code none;
    return fs::is_directory(path, none);
}

std::vector<fs::path> entriesOf(const fs::path& folder) {
    std::error_code none;
    std::vector<fs::path> entries;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, none), end; entry != end; entry.increment(none))
        if (!entry->path().filename().string().starts_with("."))
            entries.push_back(folder.empty() ? entry->path().filename() : entry->path());
    return entries;
}

// Adds what in `folder` fits the pattern from `from` on.
void collect(const std::vector<std::string>& pattern, std::size_t from, const fs::path& folder,
             std::vector<std::string>& files) {
    const bool isLast = from + 1 == pattern.size(), isDeep = pattern[from] == "**";
    if (isDeep && !isLast) collect(pattern, from + 1, folder, files);
    if (!isDeep && !isLast && pattern[from].find_first_of("*?[") == std::string::npos)
        return collect(pattern, from + 1, folder / pattern[from], files);
    for (const fs::path& entry : entriesOf(folder)) {
        if (!isDeep && !fits(pattern[from], entry.filename().string())) continue;
        if (isFolder(entry)) {
            std::error_code none;
            // A link to a folder above would lead round in a circle.
            if (isDeep && !fs::is_symlink(entry, none)) collect(pattern, from, entry, files);
            if (!isDeep && !isLast) collect(pattern, from + 1, entry, files);
        } else if (isLast) {
            files.push_back(entry.string());
        }
    }
}

bool isRecording(const fs::path& path) {
    const std::string name = path.filename().string();
    return !name.starts_with(".") && !libzepl::isStandardStream(name) && libzepl::tellsFormat(path);
}

// The word with what stands before its first component with a wildcard made absolute, without links.
fs::path absoluteOf(const std::string& word) {
    fs::path fixed, rest;
    for (const fs::path& each : fs::path(word))
        if (rest.empty() && each.string().find_first_of("*?[") == std::string::npos)
            fixed /= each;
        else
            rest /= each;
    std::error_code none;
    const fs::path folder = fs::weakly_canonical(fs::absolute(fixed.empty() ? "." : fixed, none), none);
    return rest.empty() ? folder : folder / rest;
}

bool isName(const std::string& text) {
    const std::string name = text.substr(0, text.find('['));
    return !name.empty() && !isDigit(name[0]) && std::all_of(name.begin(), name.end(), [](char c) {
        return c == '_' || std::isalnum(static_cast<unsigned char>(c)) != 0;
    });
}

}  // namespace

bool comesBefore(std::string_view a, std::string_view b) {
    const std::string_view wholeA = a, wholeB = b;
    while (!a.empty() && !b.empty()) {
        if (isDigit(a[0]) && isDigit(b[0])) {
            const std::string_view x = takeDigits(a), y = takeDigits(b);
            if (x != y) return x.size() != y.size() ? x.size() < y.size() : x < y;
            continue;
        }
        if (a[0] != b[0]) return rankOf(a[0]) < rankOf(b[0]);
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    if (a.empty() != b.empty()) return a.empty();
    return wholeA < wholeB;
}

std::vector<EachInput> eachInputs(const std::vector<std::string>& values, const std::vector<std::string>& declared) {
    std::vector<EachInput> inputs;
    std::size_t current = 0;
    for (const std::string& value : values) {
        const std::size_t equals = value.find('=');
        const std::string name = value.substr(0, equals == std::string::npos ? 0 : equals);
        const bool isDeclared =
            std::find(declared.begin(), declared.end(), name.substr(0, name.find('['))) != declared.end();
        if (inputs.empty() && !isName(name))
            throw Problem("--each " + value + " is not NAME=FILES",
                          "write --each NAME=FILES, such as ecg='recordings/*.wav'");
        if (!inputs.empty() && !isDeclared) {
            inputs[current].words.push_back(value);
            continue;
        }
        current = 0;
        while (current < inputs.size() && inputs[current].name != name) ++current;
        if (current == inputs.size()) inputs.push_back({name, {}});
        if (equals + 1 < value.size()) inputs[current].words.push_back(value.substr(equals + 1));
    }
    return inputs;
}

FileWord::FileWord(std::string word) : word_(std::move(word)), kind_(Kind::file) {
    std::error_code none;
    if (isFolder(word_))
        kind_ = Kind::folder;
    else if (!fs::exists(word_, none) && word_.find_first_of("*?[") != std::string::npos)
        kind_ = Kind::pattern;
    if (kind_ != Kind::file) absolute_ = absoluteOf(word_);
}

std::vector<std::string> FileWord::files() const {
    std::vector<std::string> files;
    if (kind_ == Kind::file) files.push_back(word_);
    if (kind_ == Kind::pattern) collect(componentsOf(word_), 0, fs::path(word_).is_absolute() ? "/" : "", files);
    if (kind_ == Kind::folder)
        for (const fs::path& entry : entriesOf(word_))
            if (!isFolder(entry) && isRecording(entry)) files.push_back(entry.string());
    return files;
}

bool FileWord::wouldTake(const fs::path& path) const {
    if (kind_ == Kind::folder) return path.parent_path() == absolute_ && isRecording(path);
    return kind_ == Kind::pattern && fits(componentsOf(absolute_), 0, componentsOf(path), 0);
}

std::vector<std::string> filesOf(const EachInput& input) {
    std::vector<std::string> files;
    for (const std::string& text : input.words) {
        const FileWord word(text);
        const std::vector<std::string> found = word.files();
        if (found.empty())
            throw Problem("--each " + input.name + "=" + text + ": " +
                              (isFolder(text) ? "no recording is in that folder" : "no file fits the pattern"),
                          isFolder(text) ? "name the recordings themselves where their endings do not say what they are"
                                         : "look for a slip in it; `ls` lists what is there");
        files.insert(files.end(), found.begin(), found.end());
    }
    if (files.empty()) throw Problem("--each " + input.name + "= names no file", "write --each NAME=FILES");
    std::stable_sort(files.begin(), files.end(), comesBefore);
    return files;
}

}  // namespace cli
