// SEPARATEF takes a stream apart that MERGEF made: each value goes to the destination whose number, its tag, is before
// it, and values that are in the stream as their raw bytes are put together again.

#include "frame/element_type.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/tasks.h"
#include "module/commands.h"
#include "routing/split_task.h"

namespace zcmds {

const char* const separatefSignature =
    "( in   pipe   float    src    [ , out  pipe   (int16|float|double)  dest ]+ |   "
    "in   pipe   (int16|int32|double)  src   [ , out  pipe   (int16|int32|float|double)  dest ]+ ) ";

namespace {

// All outputs share one area, since only one has anything pending: a change of tag flushes it.
constexpr std::int32_t outputElements = 256;

// Of int16 the 16 bits, of a floating type the low 32 bits of its whole part. A NaN, and what 64 bits do not hold, is no
// destination's tag.
template <class Source>
std::uint32_t tagIn(Source element) {
    if constexpr (std::is_integral_v<Source>) {
        return static_cast<std::make_unsigned_t<Source>>(element);
    } else {
        const bool fits = element >= static_cast<Source>(-0x1p63) && element < static_cast<Source>(0x1p63);
        return fits ? static_cast<std::uint32_t>(static_cast<std::int64_t>(element)) : ~std::uint32_t{0};
    }
}

template <class Source>
std::uint32_t readTag(SplitTask& task) {
    const auto* const from = static_cast<const Source*>(task.read);
    task.read = static_cast<Source*>(task.read) + 1;
    --task.left;
    return tagIn(*from);
}

// There is no way to find the next tag in such a stream.
[[noreturn]] void endForTag() {
    zepl::printf("*** Error: <SEPARATEF> destination tag out of range\r\n");
    zepl::printf("*** Error: <SEPARATEF> task terminating\r\n");
    zepl::exit(8);
}

// How many values of this tag come one after the other, from the one that is next to read.
template <class Source>
std::int32_t runOf(const SplitTask& task, std::uint32_t tag, std::int32_t need) {
    const std::int32_t whole = (task.left + 1) / (need + 1);
    const auto* const next = static_cast<const Source*>(task.read) + need;
    std::int32_t run = 1;
    while (run < whole && tagIn(next[(run - 1) * (need + 1)]) == tag) ++run;
    return run;
}

template <class Source>
[[noreturn]] void separateTagged(SplitTask& task) {
    SplitDestination* current = task.destinations;
    for (;;) {
        while (task.left == 0) {
            current->flush();
            refill<Source>(task);
        }
        const std::uint32_t tag = readTag<Source>(task);
        if (tag >= static_cast<std::uint32_t>(task.n)) endForTag();
        SplitDestination* const destination = task.destinations + tag;
        if (destination != current) current->flush();
        current = destination;
        while (task.left < current->need) {
            current->flush();
            refill<Source>(task);
        }
        const std::int32_t run = runOf<Source>(task, tag, current->need), used = run * (current->need + 1) - 1;
        current->take(task.read, run, current->need + 1);
        task.read = static_cast<Source*>(task.read) + used;
        task.left -= used;
    }
}

}  // namespace

std::uint32_t separatef(ParamList list) {
    SplitTask task;
    readSplit(task, list);
    openSplit(task, {.bytes = sizeof(double) * outputElements, .size = outputElements, .spacing = 0});
    return forElementType(zepl::param_type(list, 1),
                          [&]<class Source>() -> std::uint32_t { separateTagged<Source>(task); });
}

}  // namespace zcmds
