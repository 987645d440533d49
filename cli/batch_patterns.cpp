#include "cli/batch_patterns.h"

#include <algorithm>
#include <filesystem>

#include "runtime/diagnostics.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> words{"stem", "name", "ending", "parent", "folder", "index"};

std::string parentOf(const std::string& file) {
    std::error_code none;
    return fs::absolute(file, none).lexically_normal().parent_path().filename().string();
}

std::string partOf(const std::string& word, const std::string& file, std::size_t index) {
    const fs::path path(file);
    if (word == "stem") return path.stem().string();
    if (word == "name") return path.filename().string();
    if (word == "ending") return path.extension().string();
    if (word == "parent") return parentOf(file);
    if (word == "folder") return path.has_parent_path() ? path.parent_path().string() : ".";
    return std::to_string(index + 1);
}

}  // namespace

OutputPattern::OutputPattern(const std::string& option, const std::string& text,
                             const std::vector<std::string>& names) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if ((c == '{' || c == '}') && at + 1 < text.size() && text[at + 1] == c)
            ++at;
        else if (c == '{' || c == '}') {
            const std::size_t end = text.find('}', at);
            if (c == '}' || end == std::string::npos)
                throw libzepl::Problem(option + ": a brace stands alone",
                                       "write {{ or }} for a brace of the name itself");
            const std::string inside = text.substr(at + 1, end - at - 1);
            const std::size_t dot = inside.rfind('.');
            const std::string name = dot == std::string::npos ? names.front() : inside.substr(0, dot);
            const std::string word = dot == std::string::npos ? inside : inside.substr(dot + 1);
            const auto file = std::find(names.begin(), names.end(), name);
            if (file == names.end() || std::find(words.begin(), words.end(), word) == words.end()) {
                const std::string near = libzepl::suggestion(inside, words);
                throw libzepl::Problem(
                    option + ": there is no placeholder {" + inside + "}",
                    near.empty() ? "there are {stem}, {name}, {ending}, {parent}, {folder} and {index}" : near);
            }
            if (!plain.empty()) pieces_.push_back({plain});
            plain.clear();
            pieces_.push_back({{}, word, static_cast<std::size_t>(file - names.begin())});
            at = end;
            continue;
        }
        plain += c;
    }
    if (!plain.empty()) pieces_.push_back({plain});
}

std::string OutputPattern::of(const std::vector<std::string>& files, std::size_t index) const {
    std::string text;
    for (const Piece& piece : pieces_)
        text += piece.word.empty() ? piece.text : partOf(piece.word, files[piece.file], index);
    return text;
}

}  // namespace cli
