#include "cli/lsp/rename.h"

#include <algorithm>
#include <cctype>

#include "cli/lsp/language.h"

namespace cli::lsp {

using namespace libzepl;

namespace {

bool isName(const std::string& text) {
    const auto isOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
           std::all_of(text.begin(), text.end(), isOfName);
}

std::string replaced(const Outline& outline, const std::vector<const Word*>& places, const std::string& name) {
    const std::string& text = outline.procedure.source.text;
    std::vector<const Word*> inOrder = places;
    std::sort(inOrder.begin(), inOrder.end(),
              [](const Word* a, const Word* b) { return a->text.data() < b->text.data(); });
    std::string result;
    std::size_t done = 0;
    for (const Word* word : inOrder) {
        const std::size_t start = outline.names.offsetOf(*word);
        result.append(text, done, start - done).append(name);
        done = start + word->text.size();
    }
    return result.append(text, done, std::string::npos);
}

}  // namespace

const Word* renamableAt(const Outline& outline, std::size_t offset) {
    const Word* word = outline.names.wordAt(offset);
    return word == nullptr || outline.names.allOf(*word).empty() ? nullptr : word;
}

std::vector<const Word*> renamed(const Outline& outline, const Word& word, const std::string& name) {
    if (!isName(name))
        throw Problem(libzepl::quoted(name) +
                      " is no name: names have letters from A to Z, digits and `_`, and begin with no digit");
    std::vector<const Word*> places = outline.names.allOf(word);
    if (name == word.text) return places;
    for (const Word& other : outline.names.words()) {
        const bool isNamed = other.role == Role::use || other.role == Role::declaration || other.role == Role::series;
        if (isNamed && other.text == name)
            throw Problem(libzepl::quoted(name) + " is used already, at line " + std::to_string(other.place.line));
    }
    // What cannot be read already may stay so.
    const Outline after(replaced(outline, places, name));
    if (after.mistakes.size() > outline.mistakes.size())
        throw Problem(libzepl::quoted(name) + " means something else there, at line " +
                      std::to_string(after.mistakes.front().place.line) + ": " + after.mistakes.front().message);
    return places;
}

}  // namespace cli::lsp
