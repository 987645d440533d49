// The four element types of pipes, variables and vectors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

#include "host/codes.h"

namespace libzepl {

enum class ElementType : std::uint8_t { int16, int32, float32, float64 };

inline constexpr std::array<ElementType, 4> allElementTypes{ElementType::int16, ElementType::int32,
                                                            ElementType::float32, ElementType::float64};

// The name that procedures, messages and reports use: "int16", "int32", "float", "double".
std::string_view nameOf(ElementType type);
std::optional<ElementType> elementTypeNamed(std::string_view name);

// The type whose elements are of the C++ type.
template <class Element>
constexpr ElementType elementTypeOf() {
    constexpr bool integer = std::is_same_v<Element, std::int16_t> || std::is_same_v<Element, std::int32_t>;
    constexpr bool real = std::is_same_v<Element, float> || std::is_same_v<Element, double>;
    static_assert(integer || real, "elements are std::int16_t, std::int32_t, float or double");
    if constexpr (integer) return sizeof(Element) == 2 ? ElementType::int16 : ElementType::int32;
    return sizeof(Element) == 4 ? ElementType::float32 : ElementType::float64;
}

constexpr std::size_t widthOf(ElementType type) {  // bytes
    return type == ElementType::int16 ? 2 : type == ElementType::float64 ? 8 : 4;
}
constexpr bool isInteger(ElementType type) { return type <= ElementType::int32; }

// The parameter kinds of the type.
zepl::ParamMask pipeKind(ElementType type);
zepl::ParamMask vectorKind(ElementType type);
zepl::ParamMask variableKind(ElementType type);
zepl::ParamMask constantKind(ElementType type);

// Calls `body.template operator()<T>()` with the C++ type of `type`.
template <class Body>
decltype(auto) withElementType(ElementType type, Body&& body) {
    switch (type) {
        case ElementType::int16:
            return body.template operator()<std::int16_t>();
        case ElementType::int32:
            return body.template operator()<std::int32_t>();
        case ElementType::float32:
            return body.template operator()<float>();
        default:
            return body.template operator()<double>();
    }
}

}  // namespace libzepl
