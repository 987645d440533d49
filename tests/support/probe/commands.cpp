// Commands that show one trait of a host each.

#include "frame/checks.h"
#include "host/host.h"
#include "probe.h"

namespace probe {

namespace {

// Waits for ever, as a command does that has nothing left to do.
[[noreturn]] void idle() {
    for (;;) zepl::task_switch();
}

// Deeper than any stack; what is added behind the call, and the pointer to each frame, keep it from becoming a loop.
std::uint32_t sumDown(volatile std::uint32_t* last, std::uint32_t n) {
    if (n == 0) return 0;
    volatile std::uint32_t here[256] = {n};
    *last = here[n & 255];
    return sumDown(here, n - 1) + here[0];
}

}  // namespace

std::uint32_t pair(ParamList list) {
    std::int32_t count = 0;
    zepl::param_process(list, &count, 2, 4, zepl::integerPipe, zepl::constantInteger | zepl::variableInt16,
                        zepl::anyKeyword, zepl::stringKind);
    idle();
}

std::uint32_t grouped(ParamList list) {
    std::int32_t count = 0;
    zepl::param_process(list, &count, 1, 7, zepl::stringKind, zepl::beginRepeat, zepl::anyPipe, zepl::constantScalar,
                        zepl::endRepeat);
    zepl::printf("%d", count);
    idle();
}

std::uint32_t many(ParamList list) {
    std::int32_t count = 0;
    zepl::param_process(list, &count, 1, 1027, zepl::constantInteger, zepl::constantInteger, zepl::constantReal);
    zepl::printf("%d", count);
    idle();
}

std::uint32_t similar(ParamList list) {
    std::int32_t count = 0;
    zepl::param_process(list, &count, 2, 2, zepl::anyPipe, zepl::anyPipe);
    zcmds::checkSameElementType(list, {.source = 1, .destination = 2});
    idle();
}

__attribute__((no_sanitize("undefined"))) std::uint32_t divide(ParamList list) {
    const volatile auto number = static_cast<std::int32_t>(list);
    const volatile std::int32_t zero = 0;
    return static_cast<std::uint32_t>(number / zero);
}

std::uint32_t overflow(ParamList) {
    volatile std::uint32_t last = 0;
    return sumDown(&last, 0xFFFFFFFF);
}

std::uint32_t unknownHandle(ParamList) { return static_cast<std::uint32_t>(zepl::pipe_get(zepl::PipeHandle{77777})); }

}  // namespace probe
