// Checks between the parameters of one list. Each reports through param_error_msg with ParamError::typeMismatch.
#pragma once

#include "frame/cursors.h"
#include "frame/types.h"

namespace zcmds {

// The pair must have the same kind; the destination is blamed. Always true: the report does not come back.
bool checkSameElementType(ParamList list, ParamPair pair);

// A value of `kind` at position `index` must go with a stream of `pipeType`: of the same type, or int16 with int32. A
// stream of no known type takes every kind. False after a report that came back.
bool checkConstantForPipe(ParamMask pipeType, ParamMask kind, std::int32_t index);

// The same for a vector, which must have the stream's own type.
bool checkVectorForPipe(ParamMask pipeType, ParamMask kind, std::int32_t index);

}  // namespace zcmds
