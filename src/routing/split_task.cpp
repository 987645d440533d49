#include "routing/split_task.h"

#include <cstddef>

#include "frame/cursors.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pipes.h"

namespace zcmds {

namespace {

constexpr std::size_t headroom = 64;      // for the elements left over from the block before
constexpr std::int32_t inputBlock = 512;  // elements
constexpr std::size_t inputBytes = 4096;  // holds them also where they are the widest

// Where a value goes as it is: into its own type, and out of integers that hold the raw bytes of something at least as
// wide.
template <class Source, class Destination>
constexpr bool asRawBytes = std::is_same_v<Source, Destination> ||
                            (std::is_integral_v<Source> && sizeof(Destination) >= sizeof(Source));

template <class Source, class Destination>
Destination valueAt(const Source* from) {
    if constexpr (asRawBytes<Source, Destination>) {
        Destination value;
        std::memcpy(&value, from, sizeof value);
        return value;
    } else if constexpr (std::is_integral_v<Source>) {
        return wrap<Destination>(*from);
    } else {
        return truncateTo<Destination>(*from);
    }
}

template <class Source, class Destination>
void* copyValues(void* to, const void* from, std::int32_t n, std::int32_t stride) {
    auto* const values = static_cast<Destination*>(to);
    const auto* const elements = static_cast<const Source*>(from);
    for (std::int32_t i = 0; i < n; ++i) values[i] = valueAt<Source, Destination>(elements + i * stride);
    return values + n;
}

struct SplitRow {
    ParamMask source, destination;
    std::int32_t need;
    CopyOperation copy;
};

template <class Source, class Destination>
constexpr SplitRow splitRow(ParamMask source, ParamMask destination) {
    constexpr bool joins = asRawBytes<Source, Destination>;
    return {.source = source,
            .destination = destination,
            .need = joins ? static_cast<std::int32_t>(sizeof(Destination) / sizeof(Source)) : 1,
            .copy = copyValues<Source, Destination>};
}

constexpr SplitRow splitTable[] = {
    splitRow<std::int16_t, std::int16_t>(pipeInt16, pipeInt16),
    splitRow<std::int16_t, std::int32_t>(pipeInt16, pipeInt32),
    splitRow<std::int16_t, float>(pipeInt16, pipeFloat),
    splitRow<std::int16_t, double>(pipeInt16, pipeDouble),
    splitRow<std::int32_t, std::int16_t>(pipeInt32, pipeInt16),
    splitRow<std::int32_t, std::int32_t>(pipeInt32, pipeInt32),
    splitRow<std::int32_t, float>(pipeInt32, pipeFloat),
    splitRow<std::int32_t, double>(pipeInt32, pipeDouble),
    splitRow<float, std::int16_t>(pipeFloat, pipeInt16),
    splitRow<float, float>(pipeFloat, pipeFloat),
    splitRow<float, double>(pipeFloat, pipeDouble),
    splitRow<double, std::int16_t>(pipeDouble, pipeInt16),
    splitRow<double, std::int32_t>(pipeDouble, pipeInt32),
    splitRow<double, float>(pipeDouble, pipeFloat),
    splitRow<double, double>(pipeDouble, pipeDouble),
};

void chooseOperation(SplitDestination& destination, ParamMask source, ParamMask kind, std::int32_t position) {
    for (const SplitRow& row : splitTable) {
        if (row.source != source || row.destination != kind) continue;
        destination.need = row.need;
        destination.copy = row.copy;
        return;
    }
    zepl::param_error_msg(ParamError::typeMismatch, position);
}

}  // namespace

void readSplit(SplitTask& task, ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, maxBranches + 1, beginRepeat, anyPipe, endRepeat);
    task.n = count - 1;
    task.src = handleIn<PipeHandle>(params[1]);
    for (std::int32_t i = 0; i < task.n; ++i) {
        task.destinations[i].pipe = handleIn<PipeHandle>(params[i + 2]);
        chooseOperation(task.destinations[i], zepl::param_type(list, 1), zepl::param_type(list, i + 2), i + 2);
    }
}

void openSplit(SplitTask& task, OutputAreas areas) {
    zepl::pipe_open(task.src, zepl::OpenMode::read);
    for (std::int32_t i = 0; i < task.n; ++i) zepl::pipe_open(task.destinations[i].pipe, zepl::OpenMode::write);
    auto* const memory = static_cast<std::byte*>(zepl::ralloc(headroom + inputBytes + areas.bytes));
    task.base = task.read = memory + headroom;
    task.pbuf = openPbufOn(task.src, task.base, 1, inputBlock);
    for (std::int32_t i = 0; i < task.n; ++i) {
        SplitDestination& destination = task.destinations[i];
        destination.pending = 0;
        destination.base = destination.write =
            memory + headroom + inputBytes + sizeof(double) * static_cast<std::size_t>(areas.spacing * i);
        destination.pbuf = openPbufOn(destination.pipe, destination.base, 1, areas.size);
    }
}

}  // namespace zcmds
