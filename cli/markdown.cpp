#include "cli/markdown.h"

#include <md4c.h>

#include <algorithm>
#include <new>
#include <vector>

namespace cli {

namespace {

constexpr const char* boldOn = "\033[1m";
constexpr const char* codeOn = "\033[36m";
constexpr const char* styleOff = "\033[0m";

// Columns that the UTF-8 text takes: all characters of the documents take one.
int columnsOf(std::string_view text) {
    return static_cast<int>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

struct Word {
    std::string text;  // with its styles
    int columns = 0;
};
using Words = std::vector<Word>;

int columnsOf(const Words& words) {
    int columns = 0;
    for (const Word& word : words) columns += word.columns + 1;
    return std::max(0, columns - 1);
}

int widestOf(const Words& words) {
    int widest = 0;
    for (const Word& word : words) widest = std::max(widest, word.columns);
    return widest;
}

// Lines of at most `width` columns; a word that is wider has a line of its own.
std::vector<Words> linesOf(const Words& words, int width) {
    std::vector<Words> lines;
    int used = 0;
    for (const Word& word : words) {
        if (lines.empty() || used + 1 + word.columns > width) {
            lines.emplace_back();
            used = -1;
        }
        lines.back().push_back(word);
        used += 1 + word.columns;
    }
    return lines;
}

std::string joined(const Words& words) {
    std::string text;
    for (const Word& word : words) text += (text.empty() ? "" : " ") + word.text;
    return text;
}

std::string wrapped(const Words& words, int width, const std::string& first, const std::string& indent) {
    std::string text;
    const int room = std::max(width - columnsOf(indent), 10);
    for (const Words& line : linesOf(words, room)) text += (text.empty() ? first : indent) + joined(line) + "\n";
    return text;
}

struct Table {
    std::vector<std::vector<Words>> rows;  // the first is the head
};

class Renderer {
 public:
    explicit Renderer(const Screen& screen) : screen_(screen) {}

    void enter(MD_BLOCKTYPE type, const void* detail);
    void leave(MD_BLOCKTYPE type);
    void enter(MD_SPANTYPE type);
    void leave(MD_SPANTYPE type);
    void text(MD_TEXTTYPE type, std::string_view text);

    std::string take() { return std::move(out_); }

 private:
    struct List {
        bool numbered;
        unsigned next;
    };

    std::string indent() const { return std::string(lists_.size() * 2, ' '); }
    void separate();
    void flushWords();
    void append(std::string_view piece, bool startsWord);
    std::string styled(std::string_view piece) const;
    void endTable();
    void printRow(const std::vector<Words>& row, const std::vector<int>& widths);
    void printStacked();

    const Screen& screen_;
    std::string out_;
    Words words_;
    bool spaceBefore_ = true;
    int bold_ = 0, code_ = 0;
    bool inCodeBlock_ = false, isTight_ = false;
    std::string codeLines_;
    std::vector<List> lists_;
    std::string marker_;  // of the list item whose text has not begun
    Table table_;
};

// A blank line between blocks, but between the items of a list that has none.
void Renderer::separate() {
    if (!out_.empty() && !isTight_ && !out_.ends_with("\n\n")) out_ += "\n";
}

std::string Renderer::styled(std::string_view piece) const {
    if (!screen_.styled || (bold_ == 0 && code_ == 0)) return std::string(piece);
    return std::string(bold_ > 0 ? boldOn : "") + (code_ > 0 ? codeOn : "") + std::string(piece) + styleOff;
}

void Renderer::append(std::string_view piece, bool startsWord) {
    if (startsWord || words_.empty()) words_.emplace_back();
    words_.back().text += styled(piece);
    words_.back().columns += columnsOf(piece);
}

void Renderer::flushWords() {
    if (words_.empty()) return;
    const std::string first = marker_.empty() ? indent() : marker_;
    out_ += wrapped(words_, screen_.width, first, indent());
    marker_.clear();
    words_.clear();
    spaceBefore_ = true;
}

void Renderer::enter(MD_BLOCKTYPE type, const void* detail) {
    switch (type) {
        case MD_BLOCK_UL:
        case MD_BLOCK_OL:
            flushWords();
            if (lists_.empty()) separate();
            isTight_ = true;
            lists_.push_back(
                {type == MD_BLOCK_OL, type == MD_BLOCK_OL ? static_cast<const MD_BLOCK_OL_DETAIL*>(detail)->start : 0});
            break;
        case MD_BLOCK_LI: {
            List& list = lists_.back();
            marker_ = std::string((lists_.size() - 1) * 2, ' ') +
                      (list.numbered ? std::to_string(list.next++) + "." : std::string("-")) + " ";
            break;
        }
        case MD_BLOCK_H:
            separate();
            ++bold_;
            break;
        case MD_BLOCK_CODE:
            flushWords();
            separate();
            inCodeBlock_ = true;
            break;
        case MD_BLOCK_TABLE:
            separate();
            table_ = {};
            break;
        case MD_BLOCK_TR:
            table_.rows.emplace_back();
            break;
        case MD_BLOCK_TH:
            ++bold_;
            break;
        case MD_BLOCK_P:
            separate();
            break;
        default:
            break;
    }
}

void Renderer::leave(MD_BLOCKTYPE type) {
    switch (type) {
        case MD_BLOCK_UL:
        case MD_BLOCK_OL:
            lists_.pop_back();
            isTight_ = !lists_.empty();
            break;
        case MD_BLOCK_H:
            flushWords();
            --bold_;
            break;
        case MD_BLOCK_CODE: {
            std::string line;
            for (const char c : codeLines_) {
                line += c;
                if (c != '\n') continue;
                out_ += (line == "\n" ? "" : indent() + "    ") + line;
                line.clear();
            }
            codeLines_.clear();
            inCodeBlock_ = false;
            break;
        }
        case MD_BLOCK_TH:
        case MD_BLOCK_TD:
            if (type == MD_BLOCK_TH) --bold_;
            table_.rows.back().push_back(std::move(words_));
            words_.clear();
            spaceBefore_ = true;
            break;
        case MD_BLOCK_TABLE:
            endTable();
            break;
        case MD_BLOCK_P:
        case MD_BLOCK_LI:
            flushWords();
            break;
        default:
            break;
    }
}

void Renderer::enter(MD_SPANTYPE type) {
    if (type == MD_SPAN_STRONG || type == MD_SPAN_EM) ++bold_;
    if (type != MD_SPAN_CODE) return;
    ++code_;
    if (screen_.styled) return;
    append("`", spaceBefore_);
    spaceBefore_ = false;
}

void Renderer::leave(MD_SPANTYPE type) {
    if (type == MD_SPAN_STRONG || type == MD_SPAN_EM) --bold_;
    if (type != MD_SPAN_CODE) return;
    if (!screen_.styled) append("`", false);
    --code_;
}

void Renderer::text(MD_TEXTTYPE type, std::string_view text) {
    if (inCodeBlock_) {
        codeLines_ += text;
        return;
    }
    if (type == MD_TEXT_SOFTBR || type == MD_TEXT_BR) {
        spaceBefore_ = true;
        return;
    }
    while (!text.empty()) {
        const std::size_t blanks = text.find_first_not_of(" \n");
        if (blanks != 0) spaceBefore_ = true;
        if (blanks == std::string_view::npos) return;
        text.remove_prefix(blanks);
        const std::string_view piece = text.substr(0, text.find_first_of(" \n"));
        append(piece, spaceBefore_);
        spaceBefore_ = false;
        text.remove_prefix(piece.size());
    }
}

// The columns' widths: what they want where that fits, else what they need, and the rest in proportion to what they lack.
std::vector<int> widthsOf(const Table& table, int room) {
    const std::size_t columns = table.rows.front().size();
    std::vector<int> wanted(columns, 1), widths(columns, 1);
    for (const auto& row : table.rows)
        for (std::size_t i = 0; i < columns; ++i) {
            wanted[i] = std::max(wanted[i], columnsOf(row[i]));
            widths[i] = std::max(widths[i], widestOf(row[i]));
        }
    room -= 2 * static_cast<int>(columns - 1);
    int needed = 0, lacking = 0;
    for (std::size_t i = 0; i < columns; ++i) {
        needed += widths[i];
        lacking += wanted[i] - widths[i];
    }
    if (needed > room) return {};
    const int spare = std::min(room - needed, lacking);
    for (std::size_t i = 0; i < columns && lacking > 0; ++i) widths[i] += (wanted[i] - widths[i]) * spare / lacking;
    return widths;
}

void Renderer::printRow(const std::vector<Words>& row, const std::vector<int>& widths) {
    std::vector<std::vector<Words>> cells;
    std::size_t height = 1;
    for (std::size_t i = 0; i < row.size(); ++i) {
        cells.push_back(linesOf(row[i], widths[i]));
        height = std::max(height, cells.back().size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        std::string text;
        int gap = 0;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Words words = line < cells[i].size() ? cells[i][line] : Words();
            if (!words.empty()) text += std::string(static_cast<std::size_t>(gap), ' ') + joined(words);
            gap = (words.empty() ? gap : 0) + widths[i] - columnsOf(words) + 2;
        }
        out_ += text + "\n";
    }
}

// Where the screen is too narrow: a row as the lines of its cells, the first of them in front.
void Renderer::printStacked() {
    for (std::size_t r = 1; r < table_.rows.size(); ++r) {
        const std::vector<Words>& row = table_.rows[r];
        out_ += wrapped(row[0], screen_.width, "", "");
        for (std::size_t i = 1; i < row.size(); ++i) out_ += wrapped(row[i], screen_.width, "  ", "  ");
    }
}

void Renderer::endTable() {
    const std::vector<int> widths = widthsOf(table_, screen_.width);
    if (widths.empty()) return printStacked();
    const bool hasHead =
        std::any_of(table_.rows[0].begin(), table_.rows[0].end(), [](const Words& w) { return !w.empty(); });
    if (hasHead) {
        printRow(table_.rows[0], widths);
        std::string rule;
        for (const int width : widths)
            rule += (rule.empty() ? "" : "  ") + std::string(static_cast<std::size_t>(width), '-');
        out_ += rule + "\n";
    }
    for (std::size_t r = 1; r < table_.rows.size(); ++r) printRow(table_.rows[r], widths);
}

}  // namespace

std::string rendered(std::string_view markdown, const Screen& screen) {
    Renderer renderer(screen);
    MD_PARSER parser{};
    parser.flags = MD_FLAG_TABLES | MD_FLAG_NOHTML;
    parser.enter_block = [](MD_BLOCKTYPE type, void* detail, void* to) {
        static_cast<Renderer*>(to)->enter(type, detail);
        return 0;
    };
    parser.leave_block = [](MD_BLOCKTYPE type, void*, void* to) {
        static_cast<Renderer*>(to)->leave(type);
        return 0;
    };
    parser.enter_span = [](MD_SPANTYPE type, void*, void* to) {
        static_cast<Renderer*>(to)->enter(type);
        return 0;
    };
    parser.leave_span = [](MD_SPANTYPE type, void*, void* to) {
        static_cast<Renderer*>(to)->leave(type);
        return 0;
    };
    parser.text = [](MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size, void* to) {
        static_cast<Renderer*>(to)->text(type, {text, size});
        return 0;
    };
    if (::md_parse(markdown.data(), static_cast<MD_SIZE>(markdown.size()), &parser, &renderer) != 0)
        throw std::bad_alloc();
    return renderer.take();
}

std::string wrapped(std::string_view text, int width, const std::string& first, const std::string& indent) {
    Words words;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        if (!word.empty()) words.push_back({std::string(word), columnsOf(word)});
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return wrapped(words, width, first, indent);
}

}  // namespace cli
