// The recordings of a batch: what --each names, in natural order.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Whether `a` comes before `b`: runs of digits go by their value, folders before what is in them, all else by its bytes. So
// s2.wav comes before s10.wav.
bool comesBefore(std::string_view a, std::string_view b);

// What --each says of one pipe or trigger.
struct EachInput {
    std::string name;
    std::vector<std::string> words;  // files, folders and patterns
};

// Reads the values of --each: NAME=WORD, and further words of the same name. A word NAME=... begins another name where it is
// one of `declared`. A Problem where the first has no name.
std::vector<EachInput> eachInputs(const std::vector<std::string>& values, const std::vector<std::string>& declared);

// The files that a word stands for: itself where it is there, or has none of * ? [; of a folder the recordings in it, by their
// endings; of a pattern what fits, `**` being any number of folders. Hidden ones are passed over.
class FileWord {
 public:
    explicit FileWord(std::string word);

    const std::string& text() const { return word_; }
    std::vector<std::string> files() const;
    // Whether it takes files that come to be there, and whether that one would be among them: an absolute path without links.
    bool isOpen() const { return kind_ != Kind::file; }
    bool wouldTake(const std::filesystem::path& path) const;

 private:
    enum class Kind { file, folder, pattern };
    std::string word_;
    Kind kind_;
    std::filesystem::path absolute_{};  // of a folder or a pattern
};

// All files of the words, in natural order. A Problem where a pattern or a folder gives none.
std::vector<std::string> filesOf(const EachInput& input);

}  // namespace cli
