#include "lookup/transfer.h"

#include "frame/element_type.h"
#include "host/parameters.h"

namespace zcmds {

void readTransferOptions(ParamList list, const Slot* params, std::int32_t first, std::int32_t count,
                         TransferState& state) {
    const ParamMask type = zepl::param_type(list, 1);
    for (std::int32_t i = first; i <= count; ++i) checkConstantForPipe(type, zepl::param_type(list, i), i);
    forElementType(type, [&]<class Element>() -> std::uint32_t {
        const auto valueAt = [&](std::int32_t i) { return static_cast<double>(*valueIn<Element>(params[i])); };
        const std::int32_t options = count - first + 1;
        if (options == 1 || options == 3) state.scale = valueAt(first);
        if (options >= 2) {
            state.lim1 = valueAt(count - 1);
            state.lim2 = valueAt(count);
        }
        return 0;
    });
}

}  // namespace zcmds
