// PVALUE keeps the latest sample of a stream in a variable.

#include <type_traits>

#include "frame/element_type.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "module/commands.h"

namespace zcmds {

const char* const pvalueSignature =
    "( in   pipe    (int16|int32|float|double)  src ,   out  storage (int16|int32|float|double)  latest )";

namespace {

ParamMask variableFor(ParamMask pipeType) {
    switch (pipeType) {
        case pipeInt16:
            return variableInt16;
        case pipeInt32:
            return variableInt32;
        case pipeFloat:
            return variableFloat;
        default:
            return variableDouble;
    }
}

// The last of each block. An int16 is stored in 32 bits.
template <class Element>
[[noreturn]] void keepLatest(PbufHandle pbuf, Slot variable) {
    using Stored = std::conditional_t<std::is_same_v<Element, std::int16_t>, std::int32_t, Element>;
    auto* const latest = valueIn<Stored>(variable);
    const auto* const block = static_cast<const Element*>(zepl::pbuf_get_data_ptr(pbuf));
    for (;;) {
        const std::int32_t count = zepl::pbuf_get(pbuf);
        if (count != 0) *latest = block[count - 1];
    }
}

}  // namespace

std::uint32_t pvalue(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, 2, anyPipe, variableScalar);
    const ParamMask pipeType = zepl::param_type(list, 1);
    if (zepl::param_type(list, 2) != variableFor(pipeType)) zepl::param_error_msg(ParamError::typeMismatch, 2);
    const auto src = handleIn<PipeHandle>(params[1]);
    zepl::pipe_open(src, zepl::OpenMode::read);
    const PbufHandle pbuf = zepl::pbuf_open(src, static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    return forElementType(pipeType, [&]<class Element>() -> std::uint32_t { keepLatest<Element>(pbuf, params[2]); });
}

}  // namespace zcmds
