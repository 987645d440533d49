#include "runtime/element_type.h"

namespace libzepl {

namespace {

struct TypeRow {
    std::string_view name;
    zepl::ParamMask pipe, vector, variable, constant;
};

constexpr std::array<TypeRow, 4> typeRows{{
    {"int16", zepl::pipeInt16, zepl::vectorInt16, zepl::variableInt16, zepl::constantInt16},
    {"int32", zepl::pipeInt32, zepl::vectorInt32, zepl::variableInt32, zepl::constantInt32},
    {"float", zepl::pipeFloat, zepl::vectorFloat, zepl::variableFloat, zepl::constantFloat},
    {"double", zepl::pipeDouble, zepl::vectorDouble, zepl::variableDouble, zepl::constantDouble},
}};

const TypeRow& rowOf(ElementType type) { return typeRows[static_cast<std::size_t>(type)]; }

}  // namespace

std::string_view nameOf(ElementType type) { return rowOf(type).name; }

std::optional<ElementType> elementTypeNamed(std::string_view name) {
    for (ElementType type : allElementTypes)
        if (nameOf(type) == name) return type;
    return std::nullopt;
}

zepl::ParamMask pipeKind(ElementType type) { return rowOf(type).pipe; }
zepl::ParamMask vectorKind(ElementType type) { return rowOf(type).vector; }
zepl::ParamMask variableKind(ElementType type) { return rowOf(type).variable; }
zepl::ParamMask constantKind(ElementType type) { return rowOf(type).constant; }

}  // namespace libzepl
