// TRIGSEND turns a trigger into a stream of words for up to 32 pipes, so that it can cross whatever carries a pipe; TRIGRECV
// turns such a stream back. Assertions go out at once, a status only where it has moved far enough.

#include <algorithm>

#include "events/trigger_source.h"
#include "events/trigger_stream.h"
#include "frame/mask_list.h"
#include "frame/values.h"
#include "host/memory.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const trigsendSignature =
    "( in    trigger  src    [ , const storage (int16|int32)  updates ]   [ , out   pipe    int32  dest ]+  )";

namespace {

constexpr std::int32_t maxPipes = 32, defaultUpdates = 16384, maxUpdates = 16777216;

struct TrigSend {
    TriggerHandle src;
    std::int32_t n;                          // pipes
    const Slot* dest;                        // their handles
    PbufHandle* pbufs;                       // one for each pipe, all on `buffer`
    std::uint32_t* buffer;                   // the words of a block
    std::uint32_t updates;                   // how far a status moves before it is sent
    std::uint32_t sent = beforeFirstSample;  // the position that the last word gave
    std::uint32_t seen = beforeFirstSample;  // the last position handled
};

void openPipes(TrigSend& send) {
    send.pbufs = static_cast<PbufHandle*>(zepl::ralloc(maxPipes * sizeof(PbufHandle)));
    send.buffer = static_cast<std::uint32_t*>(zepl::ralloc(maxWords * sizeof(std::uint32_t)));
    for (std::int32_t i = 0; i < send.n; ++i) {
        const auto pipe = handleIn<PipeHandle>(send.dest[i]);
        zepl::pipe_open(pipe, zepl::OpenMode::write);
        const PbufHandle pbuf = send.pbufs[i] = zepl::pbuf_open(pipe, 0);
        zepl::pbuf_set_data_ptr(pbuf, send.buffer);
        zepl::pbuf_set_min_cnt(pbuf, 1);
        zepl::pbuf_set_max_cnt(pbuf, send.n);  // bounds no put, so blocks can have more words than there are pipes
    }
}

void sendStatus(TrigSend& send, std::uint32_t p) {
    send.buffer[0] = (p - send.sent) | statusBit;
    send.sent = p;
    for (std::int32_t i = 0; i < send.n; ++i)
        zepl::pipe_put(handleIn<PipeHandle>(send.dest[i]), wrap<std::int32_t>(send.buffer[0]));
}

// Sends the assertion at `p` and those that wait after it; returns the last position.
std::uint32_t sendAssertions(TrigSend& send, std::uint32_t p) {
    send.buffer[0] = p - send.sent;
    const std::int32_t k = std::min(zepl::trigger_num(send.src), maxWords - 1);
    for (std::int32_t i = 1; i <= k; ++i) {
        const std::uint32_t q = zepl::trigger_get(send.src);
        send.buffer[i] = q - p;
        p = q;
    }
    send.seen = p;
    zepl::trigger_set_status(send.src, p);
    for (std::int32_t i = 0; i < send.n; ++i) zepl::pbuf_put_set_cnt(send.pbufs[i], k + 1);
    return p;
}

[[noreturn]] void sendAll(TrigSend& send) {
    for (;;) {
        zepl::task_switch();
        std::int32_t flag;
        const std::uint32_t p = zepl::trigger_get_immediate(send.src, &flag);
        if (flag != 0) {
            send.sent = sendAssertions(send, p);
        } else if (p != send.seen) {
            if (p - send.sent >= send.updates) sendStatus(send, p);
            send.seen = p;
            zepl::trigger_set_status(send.src, p);
        }
    }
}

}  // namespace

std::uint32_t trigsend(ParamList list) {
    std::int32_t count;
    const Slot* params = processList(list, &count, 2, maxPipes + 2,
                                     std::tuple(triggerKind, constantInteger | pipeInt32), times<maxPipes>(pipeInt32));
    TrigSend send;
    std::int32_t updates = defaultUpdates, first = 2;
    if (zepl::param_type(list, 2) == pipeInt32) {
        if (count > maxPipes + 1) zepl::param_error_msg(ParamError::tooMany, maxPipes + 2);
    } else {
        updates = integerIn(params[2], zepl::param_type(list, 2));
        if (updates < 1 || updates > maxUpdates) zepl::param_error_msg(ParamError::outOfRange, 2);
        first = 3;
    }
    send.src = handleIn<TriggerHandle>(params[1]);
    send.n = count - first + 1;
    send.dest = params + first;
    send.updates = static_cast<std::uint32_t>(updates);
    openPipes(send);
    zepl::trigger_open(send.src, zepl::OpenMode::read);
    sendAll(send);
}

}  // namespace zcmds
