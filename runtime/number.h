// Numbers as procedures, options and files of text write them. Everything here is free of locales.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "diagnostics.h"
#include "element_type.h"

namespace libzepl {

// A number as it was written.
struct Number {
    bool isInteger = false;  // no point, no exponent, not nan or inf, and within 64 bits
    std::int64_t integer = 0;
    double real = 0;  // always set, the nearest double
    Place place;
};

// Whether `type` holds the number without loss of an integer: an integer type holds integers of its range; float and double
// hold every number, rounded, but for a finite one that would become an infinity.
bool holds(ElementType type, const Number& number);

// The sixteen, thirty-two or sixty-four bits of the number in `type`, which must hold it, written to `cell`. A float is
// rounded from the nearest double.
void storeNumber(ElementType type, const Number& number, void* cell);

// Reads one whole number, in the forms that procedures take: decimal with an optional exponent, hexadecimal, nan, inf,
// -inf, each with an optional sign. Nothing when `text` is not exactly one number, when it is an integer beyond 64 bits,
// or when it has a point or an exponent and is too large or too small for a double. The place is left as it is by default.
std::optional<Number> parseNumber(std::string_view text);

// The shortest text that reads back as the number; one with a point has one, or an exponent.
std::string textOf(const Number& number);

// Why parseNumber gives nothing for `text`, as a message.
std::string whyNoNumber(std::string_view text);

// Why `type` does not hold the number that was written as `text`, and what to write instead where there is a choice.
Diagnostic notHeld(ElementType type, const Number& number, std::string_view text);

}  // namespace libzepl
