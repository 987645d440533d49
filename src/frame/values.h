// Values in the slots of scalars.
#pragma once

#include <cstring>

#include "frame/types.h"

namespace zcmds {

// The value of an integer variable or constant of this kind; 16 bits are sign-extended.
inline std::int32_t integerIn(Slot slot, ParamMask kind) {
    return (kind & (constantInt16 | variableInt16)) != 0 ? *valueIn<std::int16_t>(slot) : *valueIn<std::int32_t>(slot);
}

// Eight bytes that hold an element of a type not yet known, at their start.
struct Cell {
    std::int64_t bytes = 0;

    template <class Element>
    Element as() const {
        Element element;
        std::memcpy(&element, &bytes, sizeof element);
        return element;
    }
};

// A copy of the slot's value, whatever its width: its storage is eight bytes.
inline Cell cellIn(Slot slot) { return {*valueIn<std::int64_t>(slot)}; }

// The value of a variable or constant of this kind, whatever its type.
inline double numberIn(Slot slot, ParamMask kind) {
    if ((kind & anyInteger) != 0) return integerIn(slot, kind);
    return (kind & (constantFloat | variableFloat)) != 0 ? *valueIn<float>(slot) : *valueIn<double>(slot);
}

// Stores an integer into the whole cell of a variable, so that it reads right at every width.
inline void storeInteger(Slot slot, std::int64_t value) { *valueIn<std::int64_t>(slot) = value; }

}  // namespace zcmds
