// What the host says of itself, its clocks and its digital outputs.
#pragma once

#include "codes.h"

namespace zepl {

// A word about the host, by selector.
std::uint32_t sys_get_info(SysInfo selector);

// The task's own number, from 1.
std::uint32_t sys_get_task_ID();

// The session's clock, in units of sys_get_info(SysInfo::clockUnitsPerFrame) to a frame.
std::uint32_t sys_get_time();

// The real, monotonic tick counter.
std::uint64_t u64SystemTicksGet();

// A number of microseconds, given as two words, in ticks of that counter.
std::uint64_t u64UsToSysTicks(std::uint32_t lowWord, std::uint32_t highWord);

// Sets the digital output `bit` to 0 or 1.
void digital_set_bit(std::uint32_t bit, std::uint32_t value);

}  // namespace zepl
