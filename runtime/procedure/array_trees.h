// Elements of arrays in expressions that define pipes.
#pragma once

#include <functional>
#include <string>

#include "runtime/expressions/expression.h"
#include "runtime/procedure.h"

namespace libzepl {

// The elements of the array of that name; 0 for what is no array.
using ArrayCounts = std::function<std::int64_t(const std::string& name)>;

// The expression as it defines the pipe `name`, which may be an element of an array: `a[2]` becomes the name of that element,
// and `a` the name of the element of the same index, with their past samples, `a[2][-1]` and `a[-1]`. Indices are numbers in
// the tree. Throws ExpressionRefused for an array of another length, a whole array that defines one pipe, an index out of
// range and an element of what is no array.
Expression treeOfElement(const Expression& tree, const std::string& name, const ArrayPlace& defined,
                         const ArrayCounts& counts);

}  // namespace libzepl
