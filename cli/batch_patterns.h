// Patterns of the outputs of a batch, such as "out/{stem}.wav".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cli {

// A name with placeholders, each of which stands for a part of a recording's name.
class OutputPattern {
 public:
    // `names` are those of --each: {stem} is of the first, {mark.stem} of the one called mark. A Problem, which `option` begins,
    // for what is no placeholder.
    OutputPattern(const std::string& option, const std::string& text, const std::vector<std::string>& names);

    // For the recording at `index`, from 0, with a file for each of the names.
    std::string of(const std::vector<std::string>& files, std::size_t index) const;
    bool hasPlaceholder() const { return pieces_.size() > 1 || (!pieces_.empty() && !pieces_[0].word.empty()); }

 private:
    struct Piece {
        std::string text;      // or, where there is a word:
        std::string word{};    // stem, name and so on
        std::size_t file = 0;  // of which file
    };
    std::vector<Piece> pieces_;
};

}  // namespace cli
