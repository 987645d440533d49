#include "frame/turns.h"

namespace zcmds {

// No turn is known to be the task's alone.
Turns turns{
    .alone = [](const zepl::PipeHandle*, std::int32_t, zepl::PipeHandle, std::int32_t, const void**,
                void**) { return 0; },
    .done = [](const zepl::PipeHandle*, std::int32_t, zepl::PipeHandle, std::int32_t) {},
};

}  // namespace zcmds
