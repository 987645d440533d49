// FREQUENCY counts the assertions of a trigger in windows of a fixed number of samples.

#include "events/trigger_source.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const frequencySignature =
    "( in    trigger   src ,   const storage (int16|int32)  blocksize ,   out   pipe    (int16|int32)  dest )";

namespace {

struct Frequency {
    TriggerHandle src;
    PipeHandle dest;
    std::uint32_t blocksize;                 // samples of a window, above 0
    std::uint32_t base = beforeFirstSample;  // the last position before the window
    std::int32_t count = 0;                  // assertions in the window so far
};

void closeWindow(Frequency& f) {
    zepl::pipe_put(f.dest, f.count);
    f.base += f.blocksize;
    f.count = 0;
}

// An assertion at the window's last position belongs to it.
void countAssertion(Frequency& f, std::uint32_t p) {
    while (p - f.base > f.blocksize) closeWindow(f);
    f.count = wrappingSum(f.count, 1);
}

// A status at the window's last position proves that it is complete.
void closeUpTo(Frequency& f, std::uint32_t status) {
    while (status - f.base >= f.blocksize) closeWindow(f);
}

[[noreturn]] void countWindows(Frequency& f) {
    for (;; zepl::task_switch()) {
        std::int32_t k = zepl::trigger_num(f.src), flag = 1;
        std::uint32_t p = k != 0 ? zepl::trigger_get(f.src) : zepl::trigger_get_immediate(f.src, &flag);
        if (flag == 0) {
            closeUpTo(f, p);
        } else {
            countAssertion(f, p);
            while (--k > 0) countAssertion(f, p = zepl::trigger_get(f.src));
        }
        zepl::trigger_set_status(f.src, p);
    }
}

}  // namespace

std::uint32_t frequency(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, triggerKind, constantInteger, integerPipe);
    const std::int32_t blocksize = integerIn(params[2], zepl::param_type(list, 2));
    if (blocksize < 1) zepl::param_error_msg(ParamError::notPositive, 2);
    Frequency f;
    f.src = handleIn<TriggerHandle>(params[1]);
    f.blocksize = static_cast<std::uint32_t>(blocksize);
    f.dest = handleIn<PipeHandle>(params[3]);
    zepl::trigger_open(f.src, zepl::OpenMode::read);
    zepl::pipe_open(f.dest, zepl::OpenMode::write);
    countWindows(f);
}

}  // namespace zcmds
