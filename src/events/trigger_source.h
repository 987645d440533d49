// What the commands on triggers share. A position is a running count of samples that wraps at 32 bits, so positions are
// compared by their distance only.
#pragma once

#include <cstdint>

#include "frame/exact.h"
#include "frame/types.h"
#include "host/triggers.h"

namespace zcmds {

// Where counting starts: one before sample 0.
inline constexpr std::uint32_t beforeFirstSample = 0xFFFFFFFF;

// Whether the shorter way from `position` to `other` goes forward.
constexpr bool isBefore(std::uint32_t position, std::uint32_t other) {
    return wrap<std::int32_t>(position - other) < 0;
}

// Opens the trigger where there is one.
inline void openIfGiven(TriggerHandle trigger, zepl::OpenMode mode) {
    if (trigger != TriggerHandle{}) zepl::trigger_open(trigger, mode);
}

// One of the triggers that a command combines.
struct TriggerSource {
    TriggerHandle trigger{};
    std::uint32_t pos = beforeFirstSample;  // the last position read, of an assertion or a status
    std::int32_t held = 0;                  // not 0 where `pos` is an assertion not yet used up

    // Reads the next assertion, or the status where there is none. Never waits.
    void read() { pos = zepl::trigger_get_immediate(trigger, &held); }
};

// Opens the trigger at position `last` for writing and returns it; then those before it for reading, into `src`.
inline TriggerHandle openCombined(const Slot* params, std::int32_t last, TriggerSource* src) {
    const auto dest = handleIn<TriggerHandle>(params[last]);
    zepl::trigger_open(dest, zepl::OpenMode::write);
    for (std::int32_t i = 0; i < last - 1; ++i) {
        src[i].trigger = handleIn<TriggerHandle>(params[i + 1]);
        zepl::trigger_open(src[i].trigger, zepl::OpenMode::read);
    }
    return dest;
}

}  // namespace zcmds
