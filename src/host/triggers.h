// Triggers: one-way channels of events. A position is a running count of samples from 0 that wraps at 32 bits; positions
// are compared by the sign of their 32-bit difference. The status is the position up to which the writer vouches that
// nothing further will be asserted; it starts at 0xFFFFFFFF, before sample 0, and only moves forward.
#pragma once

#include "codes.h"
#include "handles.h"

namespace zepl {

// Opens the trigger for reading or writing, before anything else is done with the handle. Never waits.
void trigger_open(TriggerHandle trigger, OpenMode mode);

// The events that wait for this reader. Never waits itself.
std::int32_t trigger_num(TriggerHandle trigger);

// The position of the next event, which is removed; waits for one.
std::uint32_t trigger_get(TriggerHandle trigger);

// The position of the next event, which is removed, with `*flag` 1; or, when there is none, the status with `*flag` 0.
// Never waits.
std::uint32_t trigger_get_immediate(TriggerHandle trigger, std::int32_t* flag);

// The status of the trigger's writer. Never waits.
std::uint32_t trigger_get_status(TriggerHandle trigger);

// Asserts an event at `position` and moves the status there. Waits while the slowest reader has too many unread.
void trigger_put(TriggerHandle trigger, std::uint32_t position);

// A writer vouches that nothing further is asserted up to `position`; one that is not ahead of the status is ignored.
// A reader says that it has no further use for anything up to `position`. Never waits.
void trigger_set_status(TriggerHandle trigger, std::uint32_t position);

// Moves on by `count` samples from the position reached (at first the one before sample 0) and asserts at the last of
// them. Waits as trigger_put does.
void trigger_updt_put(TriggerHandle trigger, std::uint32_t count);

// Moves the position reached on by `count` samples with no assertion. Never waits.
void trigger_updt_status(TriggerHandle trigger, std::uint32_t count);

// Waits for the next event, removes from `pipe` the samples that lie before it, and returns its position. While there is
// no event it removes the samples up to and including the status. The last two arguments are always 0 and 1.
std::uint32_t trigger_wait(TriggerHandle trigger, PipeHandle pipe, std::uint32_t reserved, std::uint32_t remove);

// The trigger's mode of operation and its properties, 0 unless the session sets them.
std::uint32_t trigger_get_opmode(TriggerHandle trigger);
std::uint32_t trigger_get_property(TriggerHandle trigger, std::uint32_t selector);

}  // namespace zepl
