// OFFSET adds a value to each sample. The value can be a variable that changes while the command runs.

#include <algorithm>
#include <limits>
#include <type_traits>

#include "arith/value_pair.h"
#include "frame/element_loop.h"
#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"

namespace zcmds {

const char* const offsetSignature =
    "( in    pipe     (int16|int32|float|double)  src ,   in    storage  contentof(src)  offset ,   "
    "out   typeof(src)   dest  )";

namespace {

// `x` plus a constant, saturated to an integer's type. `x` is first bounded to the values whose sum does not saturate, so
// the sum needs no wider type.
template <class Element>
class SaturatingAdd {
    using Limits = std::numeric_limits<Element>;

 public:
    explicit SaturatingAdd(Element offset)
        : offset_(offset),
          min_(static_cast<Element>(Limits::min() - std::min<Element>(offset, 0))),
          max_(static_cast<Element>(Limits::max() - std::max<Element>(offset, 0))) {}

    Element operator()(Element x) const {
        const Element bounded = std::max(min_, std::min(max_, x));
        return static_cast<Element>(bounded + offset_);
    }

 private:
    Element offset_;
    Element min_, max_;  // the inputs that do not saturate
};

template <class Element>
requires std::is_floating_point_v<Element>
class SaturatingAdd<Element> {
 public:
    explicit SaturatingAdd(Element offset) : offset_(offset) {}
    Element operator()(Element x) const { return offset_ + x; }

 private:
    Element offset_;
};

}  // namespace

std::uint32_t offset(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    const ParamPair pair{.source = 1, .destination = 3};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, anyPipe, anyScalar, anyPipe);
    openPairWithValues(list, params, pair, 2, reader, writer);
    const Slot offset = params[2];
    return forElementType(zepl::param_type(list, 1), [&]<class Element>() -> std::uint32_t {
        transformBlocksReloading<Element>(reader, writer,
                                          [offset] { return SaturatingAdd<Element>(*valueIn<Element>(offset)); });
    });
}

}  // namespace zcmds
