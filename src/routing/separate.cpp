// SEPARATE deals one stream out to several in strict rotation, and puts values together again that are in the stream as
// their raw bytes.

#include "frame/element_type.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "routing/split_task.h"

namespace zcmds {

const char* const separateSignature =
    "( in   pipe   float  src   [ , out  pipe   (int16|float|double)  dest ]+ |   "
    "in   pipe   (int16|int32|double)  src    [ , out  pipe   (int16|int32|float|double)  dest ]+ ) ";

namespace {

// All outputs together hold an input block, also where it does not divide evenly among them.
constexpr std::int32_t outputElements = 576;

// Input elements that give each destination one value.
std::int32_t cycleOf(const SplitTask& task) {
    std::int32_t cycle = 0;
    for (std::int32_t i = 0; i < task.n; ++i) cycle += task.destinations[i].need;
    return cycle;
}

// Deals whole cycles, as many as there are, one destination after the other.
template <class Source>
void dealCycles(SplitTask& task, std::int32_t cycle) {
    const std::int32_t n = task.left / cycle;
    const auto* from = static_cast<Source*>(task.read);
    for (std::int32_t i = 0; i < task.n; ++i) {
        task.destinations[i].take(from, n, cycle);
        from += task.destinations[i].need;
    }
    task.read = static_cast<Source*>(task.read) + n * cycle;
    task.left -= n * cycle;
}

template <class Source>
void dealOne(SplitTask& task, SplitDestination& destination) {
    destination.take(task.read, 1, destination.need);
    task.read = static_cast<Source*>(task.read) + destination.need;
    task.left -= destination.need;
}

// The rotation runs on across blocks.
template <class Source>
[[noreturn]] void deal(SplitTask& task) {
    const std::int32_t cycle = cycleOf(task);
    std::int32_t current = 0;
    for (;;) {
        refill<Source>(task);
        while (task.left >= task.destinations[current].need) {
            if (current == 0 && task.left >= cycle) {
                dealCycles<Source>(task, cycle);
            } else {
                dealOne<Source>(task, task.destinations[current]);
                current = current + 1 == task.n ? 0 : current + 1;
            }
        }
        for (std::int32_t i = 0; i < task.n; ++i) task.destinations[i].flush();
    }
}

}  // namespace

std::uint32_t separate(ParamList list) {
    SplitTask task;
    readSplit(task, list);
    const std::int32_t each = outputElements / task.n;
    openSplit(task, {.bytes = sizeof(double) * outputElements, .size = each, .spacing = each});
    return forElementType(zepl::param_type(list, 1), [&]<class Source>() -> std::uint32_t { deal<Source>(task); });
}

}  // namespace zcmds
