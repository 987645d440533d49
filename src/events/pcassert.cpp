// PCASSERT asserts when it is asked to from outside the flow of data, through a variable or a pipe. Positions are taken
// from a running count: of the values in a pipe, or of frames by the host's clock.

#include "events/trigger_source.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const pcassertSignature =
    "( ( const   pipe     (int16|int32)  sigflag |     in      storage  (int16|int32)  sigflag ) ,   "
    "out   trigger   zepevent   [ , ( const pipe    anyscalar  refrate |         "
    "const storage int16      ratediv ) ]  )";

namespace {

constexpr std::int32_t countLimit = 1024;  // values that are counted at once

struct PcAssert {
    ParamMask kind;              // of `sigflag`: a pipe, or an int16 or int32 variable
    Slot sigflag;                // its slot
    TriggerHandle zepevent;      // what is asserted
    PipeHandle refrate{};        // the pipe whose values are counted; none is 0
    std::uint32_t period = 1;    // of the count, in units of the clock
    std::uint32_t lastTime = 0;  // what of the clock is counted
    std::uint32_t total = 0;     // the count

    bool requestsByPipe() const { return (kind & integerPipe) != 0; }
    PipeHandle requestPipe() const { return handleIn<PipeHandle>(sigflag); }
};

std::uint32_t countValues(PipeHandle refrate) {
    std::uint32_t sum = 0;
    while (const std::int32_t n = zepl::pipe_num_complete(refrate, countLimit)) {
        zepl::pipe_rem(refrate, n);
        sum += static_cast<std::uint32_t>(n);
    }
    return sum;
}

// The rest of a period counts next time.
std::uint32_t countPeriods(PcAssert& pc) {
    if (zepl::sys_get_info(SysInfo::clockRunning) == 0) zepl::exit(1);
    const std::uint32_t t = zepl::sys_get_info(SysInfo::clock);
    const std::uint32_t m = divideOrFault(t - pc.lastTime, pc.period);
    pc.lastTime += m * pc.period;
    return m;
}

bool requested(const PcAssert& pc) {
    if (pc.requestsByPipe()) return zepl::pipe_num(pc.requestPipe()) != 0;
    return integerIn(pc.sigflag, pc.kind) != 0;
}

// Only the low half of an int32 is cleared: a request in its upper half remains until its writer clears it.
void clearRequest(const PcAssert& pc) {
    if (pc.requestsByPipe())
        zepl::pipe_rem(pc.requestPipe(), 1);
    else
        storeInteger(pc.sigflag, pc.kind == variableInt16 ? 0 : integerIn(pc.sigflag, pc.kind) & ~0xFFFF);
}

[[noreturn]] void serveRequests(PcAssert& pc) {
    for (;;) {
        zepl::task_switch();
        const std::uint32_t m = pc.refrate != PipeHandle{} ? countValues(pc.refrate) : countPeriods(pc);
        if (m == 0) continue;
        pc.total += m;
        if (requested(pc)) {
            zepl::trigger_put(pc.zepevent, pc.total);
            clearRequest(pc);
        } else {
            zepl::trigger_set_status(pc.zepevent, pc.total);
        }
    }
}

void awaitClock(PcAssert& pc, std::uint32_t ratediv) {
    while (zepl::sys_get_info(SysInfo::clockRunning) == 0) zepl::task_switch();
    pc.period = zepl::sys_get_info(SysInfo::clockUnitsPerFrame) * ratediv;
}

}  // namespace

std::uint32_t pcassert(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 2, 3, integerPipe | variableInteger, triggerKind, anyPipe | constantInt16);
    PcAssert pc;
    pc.kind = zepl::param_type(list, 1);
    pc.sigflag = params[1];
    pc.zepevent = handleIn<TriggerHandle>(params[2]);
    if (!pc.requestsByPipe()) storeInteger(pc.sigflag, 0);
    std::uint32_t ratediv = 1;
    if (count == 3 && (zepl::param_type(list, 3) & anyPipe) != 0)
        pc.refrate = handleIn<PipeHandle>(params[3]);
    else if (count == 3)
        ratediv = *valueIn<std::uint16_t>(params[3]);
    if (ratediv < 1) zepl::param_error_msg(ParamError::notPositive, 3);
    if (pc.requestsByPipe()) zepl::pipe_open(pc.requestPipe(), zepl::OpenMode::read);
    zepl::trigger_open(pc.zepevent, zepl::OpenMode::write);
    if (pc.refrate != PipeHandle{})
        zepl::pipe_open(pc.refrate, zepl::OpenMode::read);
    else
        awaitClock(pc, ratediv);
    serveRequests(pc);
}

}  // namespace zcmds
