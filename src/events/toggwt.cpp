// TOGGWT is a gate: it passes the samples between an on assertion of a trigger and the following off assertion, and drops
// the rest. What it passes is a plain stream, or records whose headers give their length and where they came from.

#include <algorithm>
#include <bit>

#include "events/toggwt_format.h"
#include "frame/cursors.h"
#include "frame/exact.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "host/triggers.h"
#include "module/commands.h"

namespace zcmds {

const char* const toggwtSignature =
    "( in   pipe     int16   src ,   in   trigger    onoff ,   out  pipe     int16   dest   [ , "
    "const  storage   int16   bsize  ]  [ , const  storage   string  outspec     [ , out  pipe   int32  tags   ] ] )";

namespace {

// Sent as it is in memory, so the layout is what goes over the pipe: as int16 elements, or as int32 with the length in
// the low half of the first.
struct GateHeader {
    std::uint16_t length;     // samples in the block that follows
    std::uint16_t continues;  // 1: the window continues in the next record
    std::uint32_t start;      // trigger position of the block's first sample; sent only if stamped
};
static_assert(sizeof(GateHeader) == 8 && std::endian::native == std::endian::little);

struct GateTask {
    TriggerHandle onoff;
    PipeHandle src, dest;
    PipeHandle tags{};  // none is 0
    PbufHandle headers, input, output;
    GateHeader header;
};

// The next assertion, which is taken, or the position up to which none will come.
struct Mark {
    std::uint32_t position;
    bool asserted;
};

Mark nextMark(const GateTask& task) {
    std::int32_t flag;
    const std::uint32_t position = zepl::trigger_get_immediate(task.onoff, &flag);
    return {position, flag != 0};
}

// The position of the next assertion; the samples ahead of it are gone then.
std::uint32_t waitForAssertion(const GateTask& task) { return zepl::trigger_wait(task.onoff, task.src, 0, 1); }

// Fetches up to `max` samples and gives their number.
std::uint32_t fetch(const GateTask& task, std::uint32_t max) {
    zepl::pbuf_set_max_cnt(task.input, static_cast<std::int32_t>(max));
    zepl::pbuf_get(task.input);
    return static_cast<std::uint32_t>(zepl::pbuf_get_cnt(task.input));
}

// The samples leave from where they were fetched to.
void sendBlock(const GateTask& task, std::uint32_t n) {
    zepl::pbuf_set_cnt(task.output, static_cast<std::int32_t>(n));
    zepl::pbuf_put(task.output);
    zepl::trigger_updt_status(task.onoff, n);
}

void sendHeader(GateTask& task, const GateFormat& format, std::uint32_t start, std::uint32_t length, bool continues) {
    task.header = {.length = wrap<std::uint16_t>(length), .continues = continues, .start = start};
    zepl::pbuf_set_cnt(task.headers, format.headerWords);
    zepl::pbuf_put(task.headers);
}

// Samples flow on as soon as the status covers them.
[[noreturn]] void passStream(GateTask& task, const GateFormat& format) {
    const auto pass = [&](std::uint32_t max) {
        const std::uint32_t n = fetch(task, std::min(max, format.bsize));
        sendBlock(task, n);
        return n;
    };
    for (;;) {
        std::uint32_t done = waitForAssertion(task) - 1;  // the position of the last sample dealt with
        Mark next = nextMark(task);
        for (; !next.asserted; next = nextMark(task)) {
            if (next.position == done)
                zepl::task_switch();
            else
                done += pass(next.position - done);
        }
        for (std::uint32_t left = next.position - done - 1; left != 0;) left -= pass(left);
    }
}

// A record that is sent before the end of its window is known says that the window continues, also when the end then comes
// directly after it.
[[noreturn]] void passSpanned(GateTask& task, const GateFormat& format) {
    for (;;) {
        std::uint32_t start = waitForAssertion(task);  // the position of the next sample to send
        Mark next = nextMark(task);
        for (; !next.asserted; next = nextMark(task)) {
            const std::uint32_t ahead = next.position - start;
            if (ahead > 1) {
                const std::uint32_t n = fetch(task, std::min(format.bsize, ahead - 1));
                sendHeader(task, format, start, n, true);
                sendBlock(task, n);
                start += n;
            } else {
                zepl::task_switch();
            }
        }
        for (std::uint32_t left = next.position - start; left != 0;) {
            const std::uint32_t n = fetch(task, std::min(left, format.bsize));
            left -= n;
            sendHeader(task, format, start, n, left != 0);
            sendBlock(task, n);
            start += n;
        }
    }
}

// The header goes first and states the length, so a window is held back until it has ended or fills a block.
[[noreturn]] void passSingle(GateTask& task, const GateFormat& format) {
    for (;;) {
        const std::uint32_t start = waitForAssertion(task);
        Mark next = nextMark(task);
        while (!next.asserted && next.position - start < format.bsize) {
            zepl::task_switch();
            next = nextMark(task);
        }
        const std::uint32_t length = std::min(next.position - start, format.bsize);
        sendHeader(task, format, start, length, false);
        zepl::pbuf_set_min_cnt(task.input, static_cast<std::int32_t>(length));
        fetch(task, length);
        sendBlock(task, length);
        if (next.asserted) continue;
        waitForAssertion(task);
        zepl::trigger_updt_status(task.onoff, 1);
    }
}

// What may follow `dest`: the block length, the text and the pipe for headers, the first of which can be left out.
GateFormat readFormat(ParamList list, const Slot* params, std::int32_t count, GateTask& task) {
    GateFormat format;
    format.bsize = zepl::sys_get_info(SysInfo::defaultBlock);
    std::int32_t textAt = count >= 4 ? 4 : 0;
    if (count >= 4 && zepl::param_type(list, 4) == constantInt16) {
        const std::int16_t bsize = *valueIn<std::int16_t>(params[4]);
        if (bsize < 1 || bsize > 16384) zepl::param_error_msg(ParamError::outOfRange, 4);
        format.bsize = static_cast<std::uint32_t>(bsize);
        if (count >= 5 && zepl::param_type(list, 5) == pipeInt32) zepl::param_error_msg(ParamError::missing, 5);
        textAt = count >= 5 ? 5 : 0;
        if (count >= 6) task.tags = handleIn<PipeHandle>(params[6]);
    } else if (count >= 5) {
        if (zepl::param_type(list, 5) != pipeInt32) zepl::param_error_msg(ParamError::wrongKind, 5);
        task.tags = handleIn<PipeHandle>(params[5]);
    }
    const char* text = textAt != 0 ? valueIn<const char>(params[textAt]) : "FORMAT=STREAM";
    if (!parseGateFormat(text, format)) zepl::param_error_msg(ParamError::notPositive, textAt);
    return format;
}

void openHeaders(GateTask& task, GateFormat& format) {
    const bool onTags = task.tags != PipeHandle{};
    if (onTags) zepl::pipe_open(task.tags, zepl::OpenMode::write);
    const std::int32_t half = onTags ? 1 : 2;  // elements to the first four bytes of the header
    task.headers = openPbufOn(onTags ? task.tags : task.dest, &task.header, half, 2 * half);
    format.headerWords = format.stamped != 0 ? 2 * half : half;
}

}  // namespace

std::uint32_t toggwt(ParamList list) {
    GateTask task{};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 6, pipeInt16, triggerKind, pipeInt16,
                                             constantInt16 | stringKind, stringKind | pipeInt32, pipeInt32);
    GateFormat format = readFormat(list, params, count, task);
    task.src = handleIn<PipeHandle>(params[1]);
    task.onoff = handleIn<TriggerHandle>(params[2]);
    task.dest = handleIn<PipeHandle>(params[3]);
    zepl::pipe_open(task.src, zepl::OpenMode::read);
    zepl::trigger_open(task.onoff, zepl::OpenMode::read);
    zepl::pipe_open(task.dest, zepl::OpenMode::write);
    const auto bsize = static_cast<std::int32_t>(format.bsize);
    task.input = zepl::pbuf_open(task.src, bsize);
    task.output = openPbufOn(task.dest, zepl::pbuf_get_data_ptr(task.input), 1, bsize);
    openHeaders(task, format);
    if (format.blocks == 0) passStream(task, format);
    if (format.spanned != 0) passSpanned(task, format);
    passSingle(task, format);
}

}  // namespace zcmds
