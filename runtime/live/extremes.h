// The least and the greatest of many elements.
#pragma once

#include <cstddef>

#include "runtime/element_type.h"

namespace libzepl {

struct Extremes {
    double least, greatest;  // least > greatest where no element is a number
};

// Of elements of the type; those that are no numbers are passed over.
Extremes extremesOf(ElementType type, const void* elements, std::size_t n);

}  // namespace libzepl
