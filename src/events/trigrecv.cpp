// TRIGRECV turns a stream of words that TRIGSEND has made back into the trigger.

#include "events/trigger_source.h"
#include "events/trigger_stream.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "module/commands.h"

namespace zcmds {

const char* const trigrecvSignature = "( const  pipe   int32  src ,   out    trigger    dest )";

namespace {

[[noreturn]] void receiveAll(PbufHandle pbuf, TriggerHandle dest) {
    const auto* words = static_cast<const std::uint32_t*>(zepl::pbuf_get_data_ptr(pbuf));
    for (std::uint32_t base = beforeFirstSample;;) {
        const std::int32_t c = zepl::pbuf_get(pbuf);
        for (std::int32_t i = 0; i < c; ++i) {
            base += words[i] & ~statusBit;
            if ((words[i] & statusBit) != 0)
                zepl::trigger_set_status(dest, base);
            else
                zepl::trigger_put(dest, base);
        }
    }
}

}  // namespace

std::uint32_t trigrecv(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, pipeInt32, triggerKind);
    const auto src = handleIn<PipeHandle>(params[1]);
    const auto dest = handleIn<TriggerHandle>(params[2]);
    zepl::pipe_open(src, zepl::OpenMode::read);
    const PbufHandle pbuf = zepl::pbuf_open(src, maxWords);
    zepl::trigger_open(dest, zepl::OpenMode::write);
    receiveAll(pbuf, dest);
}

}  // namespace zcmds
