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

// The triggers that a command combines, and the one that it makes of them.
template <std::int32_t capacity>
struct TriggerSources {
    std::int32_t n;               // sources
    TriggerHandle src[capacity];  // their handles
    std::uint32_t pos[capacity];  // the last position read from each, of an assertion or a status
    std::int32_t held[capacity];  // not 0 where `pos` is an assertion not yet used up
    TriggerHandle dest;

    // Opens `dest`, at position `last` of the list, and then the sources before it.
    void open(const Slot* params, std::int32_t last) {
        n = last - 1;
        dest = handleIn<TriggerHandle>(params[last]);
        zepl::trigger_open(dest, zepl::OpenMode::write);
        for (std::int32_t i = 0; i < n; ++i) {
            src[i] = handleIn<TriggerHandle>(params[i + 1]);
            pos[i] = beforeFirstSample;
            held[i] = 0;
            zepl::trigger_open(src[i], zepl::OpenMode::read);
        }
    }

    // Reads the next assertion of a source, or its status where there is none. Never waits.
    void read(std::int32_t i) { pos[i] = zepl::trigger_get_immediate(src[i], &held[i]); }

    void readWhereNoneIsHeld() {
        for (std::int32_t i = 0; i < n; ++i)
            if (held[i] == 0) read(i);
    }
};

}  // namespace zcmds
