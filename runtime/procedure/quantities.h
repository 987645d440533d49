// What the places of a procedure where a number stands take.
#pragma once

#include <optional>
#include <string_view>

#include "runtime/procedure.h"

namespace libzepl {

struct Quantity {
    enum class Kind { element, count, elements, index, rate, step, any };
    Kind kind = Kind::any;
    ElementType type = ElementType::int16;  // of an element
    std::string_view clause;                // of a count or a step
    std::int64_t most = 0;                  // of a count, from 1
};

// `type` is that of the declaration.
Quantity quantityAt(Formula::Goes goes, ElementType type);
bool isElement(Formula::Goes goes);

// Why the number, which stands as `written`, cannot be that.
std::optional<Diagnostic> mistakeOf(const Quantity& quantity, const Number& number, std::string_view written);

// Why the limit cannot be that of so many channels.
std::optional<Diagnostic> frameMistake(std::int64_t channels, std::uint64_t limit, const Place& place);

}  // namespace libzepl
