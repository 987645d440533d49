// Parameters of a task. Positions count from 1.
#pragma once

#include "codes.h"
#include "handles.h"

namespace zepl {

// Checks the actual parameters against `minimum`, `maximum` and one ParamMask for each position (the masks follow, as
// 32-bit words), puts their number into `*count` and returns the slots, slot 1 being the first parameter. Masks between
// beginRepeat and endRepeat are applied over and over. No mask past the actual count is looked at. A list that does not
// fit stops the run with the position and the reason; the call then does not return.
Slot* param_process(ParamList list, std::int32_t* count, std::int32_t minimum, std::int32_t maximum, ...);

// The kind of the parameter at `index`, 1 to the count: exactly one bit of ParamMask.
ParamMask param_type(ParamList list, std::int32_t index);

// Reports a set-up error at the parameter position `index` and stops the run. Does not return.
[[noreturn]] void param_error_msg(ParamError code, std::int32_t index);

}  // namespace zepl
