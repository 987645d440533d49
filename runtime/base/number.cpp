#include "runtime/number.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <system_error>
#include <type_traits>

namespace libzepl {

namespace {

enum class Reading { done, malformed, integerTooLarge, beyondDouble };

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// An integer's digits, with the sign that stood in front of them.
Reading readInteger(std::string_view digits, int base, bool negative, Number& number) {
    std::uint64_t magnitude = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, magnitude, base);
    if (error == std::errc::invalid_argument || stop != end) return Reading::malformed;
    const std::uint64_t max = std::uint64_t{std::numeric_limits<std::int64_t>::max()} + (negative ? 1 : 0);
    if (error != std::errc() || magnitude > max) return Reading::integerTooLarge;
    number.isInteger = true;
    number.integer = static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
    number.real = negative ? -static_cast<double>(magnitude) : static_cast<double>(magnitude);
    return Reading::done;
}

Reading readReal(std::string_view digits, bool negative, Number& number) {
    double magnitude = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, magnitude);
    if (error == std::errc::invalid_argument || stop != end) return Reading::malformed;
    if (error != std::errc()) return Reading::beyondDouble;
    number.real = negative ? -magnitude : magnitude;
    return Reading::done;
}

Reading readNumber(std::string_view text, Number& number) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    if (text == "nan" || text == "inf") {
        const double value =
            text == "nan" ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
        number.real = negative ? -value : value;
        return Reading::done;
    }
    if (text.starts_with("0x") || text.starts_with("0X")) return readInteger(text.substr(2), 16, negative, number);
    // Other words that the library takes for numbers, such as "infinity", start with neither.
    if (text.empty() || !(isDigit(text[0]) || text[0] == '.')) return Reading::malformed;
    const bool isInteger = text.find_first_not_of("0123456789") == std::string_view::npos;
    return isInteger ? readInteger(text, 10, negative, number) : readReal(text, negative, number);
}

struct IntegerRange {
    std::int64_t min, max;
    std::int64_t values() const { return max - min + 1; }
};

IntegerRange rangeOf(ElementType integerType) {
    return integerType == ElementType::int16 ? IntegerRange{-32768, 32767} : IntegerRange{-2147483648, 2147483647};
}

// What to write instead of an integer that is out of range.
std::string remedyFor(ElementType type, const Number& number, std::string_view text) {
    const IntegerRange range = rangeOf(type);
    const bool isHexadecimal = text.find_first_of("xX") != std::string_view::npos;
    if (isHexadecimal && number.integer > range.max && number.integer < range.values())
        return "for the bits of " + quoted(text) + " write " + std::to_string(number.integer - range.values());
    return holds(ElementType::int32, number) ? "int32 holds it" : "";
}

}  // namespace

std::optional<Number> parseNumber(std::string_view text) {
    Number number;
    if (readNumber(text, number) != Reading::done) return std::nullopt;
    return number;
}

std::string textOf(const Number& number) {
    if (number.isInteger) return std::to_string(number.integer);
    std::array<char, 32> room;
    std::string text(room.data(), std::to_chars(room.data(), room.data() + room.size(), number.real).ptr);
    return text.find_first_of(".en") == std::string::npos ? text + ".0" : text;
}

std::string whyNoNumber(std::string_view text) {
    Number ignored;
    switch (readNumber(text, ignored)) {
        case Reading::integerTooLarge:
            return quoted(text) + " is beyond the integers of 64 bits: with a point it is a double";
        case Reading::beyondDouble:
            return quoted(text) + " is too large or too small for a double";
        default:
            return quoted(text) + " is not a number";
    }
}

bool holds(ElementType type, const Number& number) {
    // What is nearer to the next power of two than to the greatest float would become an infinity.
    constexpr double beyondFloat = 0x1.ffffffp127;
    if (type == ElementType::float32) return std::isinf(number.real) || !(std::fabs(number.real) >= beyondFloat);
    if (type == ElementType::float64) return true;
    const IntegerRange range = rangeOf(type);
    return number.isInteger && number.integer >= range.min && number.integer <= range.max;
}

void storeNumber(ElementType type, const Number& number, void* cell) {
    withElementType(type, [&]<class Element> {
        const Element value =
            std::is_integral_v<Element> ? static_cast<Element>(number.integer) : static_cast<Element>(number.real);
        std::memcpy(cell, &value, sizeof value);
    });
}

Diagnostic notHeld(ElementType type, const Number& number, std::string_view text) {
    Diagnostic diagnostic{.severity = Severity::error, .place = number.place, .message = {}, .remedy = {}};
    const std::string name(nameOf(type));
    if (type == ElementType::float32) {
        diagnostic.message = quoted(text) + " is out of range: float holds up to 3.4028235e38 and inf";
        diagnostic.remedy = "double holds it";
        return diagnostic;
    }
    if (!number.isInteger) {
        diagnostic.message = quoted(text) + " is not an integer, which " + name + " takes";
        diagnostic.remedy = "write it without a point or an exponent, or take float or double";
        return diagnostic;
    }
    const IntegerRange range = rangeOf(type);
    diagnostic.message = quoted(text) + " is out of range: " + name + " holds " + std::to_string(range.min) + " to " +
                         std::to_string(range.max);
    diagnostic.remedy = remedyFor(type, number, text);
    return diagnostic;
}

}  // namespace libzepl
