// The cells of a line of CSV, and the numbers in them.
#pragma once

#include <algorithm>
#include <charconv>
#include <deque>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace libzepl {

// A line's cells, without the spaces around them and the quotes of quoted ones; they point into the line.
class CsvCells {
 public:
    // False when a quoted cell does not end where it should.
    bool split(std::string_view line);
    std::size_t size() const { return cells_.size(); }
    std::string_view operator[](std::size_t index) const { return cells_[index]; }
    bool isQuoted(std::size_t index) const { return quoted_[index]; }

 private:
    bool takeQuoted(std::string_view& rest);

    std::vector<std::string_view> cells_;
    std::vector<bool> quoted_;
    std::deque<std::string> unquoted_;  // cells with quotes in them
};

std::string_view withoutSpaces(std::string_view text);

bool isNumber(std::string_view cell);

// Whether the cell starts with a digit, maybe after a sign or a point, as numbers, times and dates do.
bool startsLikeNumber(std::string_view cell);

// Whether a number that is out of a type's range is so for being too near to zero.
bool isTiny(std::string_view cell);

// Writes the number with the shortest digits that read back, at most 31, and gives its end.
template <class T>
char* writeCell(T number, char* to) {
    if constexpr (std::is_floating_point_v<T>)
        if (number != number) return std::copy_n("nan", 3, to);
    return std::to_chars(to, to + 31, number).ptr;
}

enum class CellFault { none, empty, noNumber, noInteger, outOfRange };

// The cell as a number of type T: the nearest one for a real type. Independent of the locale.
template <class T>
CellFault parseCell(std::string_view cell, T& number) {
    if (cell.empty()) return CellFault::empty;
    if (cell.size() > 1 && cell[0] == '+' && cell[1] != '-') cell.remove_prefix(1);
    const char* const end = cell.data() + cell.size();
    const auto result = std::from_chars(cell.data(), end, number);
    if (result.ptr == end && result.ec == std::errc{}) return CellFault::none;
    if (result.ptr == end && result.ec == std::errc::result_out_of_range) {
        if (std::is_integral_v<T> || !isTiny(cell)) return CellFault::outOfRange;
        number = cell[0] == '-' ? -T{0} : T{0};
        return CellFault::none;
    }
    if (std::is_integral_v<T> && isNumber(cell)) return CellFault::noInteger;
    return CellFault::noNumber;
}

}  // namespace libzepl
