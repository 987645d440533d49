#include "runtime/files/csv_cells.h"

#include <algorithm>
#include <cmath>

namespace libzepl {

namespace {

constexpr std::string_view spaces = " \t";

}  // namespace

std::string_view withoutSpaces(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(spaces), text.size()));
    return text.substr(0, text.find_last_not_of(spaces) + 1);
}

bool isNumber(std::string_view cell) {
    double number = 0;
    const CellFault fault = parseCell(cell, number);
    return fault == CellFault::none || fault == CellFault::outOfRange;
}

bool startsLikeNumber(std::string_view cell) {
    const auto isAt = [&](std::string_view marks) { return !cell.empty() && marks.find(cell.front()) != marks.npos; };
    if (isAt("+-")) cell.remove_prefix(1);
    if (isAt(".")) cell.remove_prefix(1);
    return isAt("0123456789");
}

bool isTiny(std::string_view cell) {
    long double number = 1;
    std::from_chars(cell.data(), cell.data() + cell.size(), number);
    return std::fabs(number) < 1;
}

// Takes a quoted cell from the start of `rest`, up to the comma after it or the end. A doubled quote means one.
bool CsvCells::takeQuoted(std::string_view& rest) {
    std::string text;
    for (std::size_t at = 1; at < rest.size(); ++at) {
        if (rest[at] != '"') {
            text += rest[at];
        } else if (at + 1 < rest.size() && rest[at + 1] == '"') {
            text += rest[++at];
        } else {
            rest = withoutSpaces(rest.substr(at + 1));
            cells_.push_back(unquoted_.emplace_back(std::move(text)));
            return rest.empty() || rest.front() == ',';
        }
    }
    return false;
}

bool CsvCells::split(std::string_view line) {
    cells_.clear();
    quoted_.clear();
    unquoted_.clear();
    for (std::string_view rest = withoutSpaces(line);; rest = withoutSpaces(rest.substr(1))) {
        quoted_.push_back(!rest.empty() && rest.front() == '"');
        if (quoted_.back()) {
            if (!takeQuoted(rest)) return false;
        } else {
            const std::string_view cell = rest.substr(0, rest.find(','));
            cells_.push_back(withoutSpaces(cell));
            rest.remove_prefix(cell.size());
        }
        if (rest.empty()) return true;
    }
}

}  // namespace libzepl
