// MERGEF puts several streams, of different types if need be, onto one pipe, in the order in which their samples come. Each
// sample follows a tag, the number of its source, by which SEPARATEF takes them apart again.

#include <cstring>
#include <initializer_list>

#include "frame/cursors.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"
#include "routing/source_tag.h"

namespace zcmds {

const char* const mergefSignature =
    "( [ in  pipe   (int16|float)  src , ]+     out pipe   float  dest  |   "
    "[ in  pipe   (int16|int32|float|double)  src , ]+     out pipe   (int16|int32|double)  dest ) ";

namespace {

constexpr std::int32_t inputBlock = 128;   // samples of one source at a time
constexpr std::size_t inputBytes = 1024;   // holds them also where they are the widest
constexpr std::int32_t outputBlock = 640;  // holds them where each takes a tag and four elements

// What an integer stream does not hold by value goes into it as the sample's raw bytes, low ones first.
template <class Source, class Destination>
constexpr bool asRawBytes = std::is_same_v<Source, Destination> ||
                            (std::is_integral_v<Destination> && sizeof(Source) >= sizeof(Destination));

// Elements that one sample takes, without its tag.
template <class Source, class Destination>
constexpr std::int32_t elementsOf = asRawBytes<Source, Destination>
                                        ? static_cast<std::int32_t>(sizeof(Source) / sizeof(Destination))
                                        : 1;

// Writes tag and sample, tag and sample, of `n` samples.
template <class Source, class Destination>
ZCMDS_VECTOR_CLONES void writeTagged(Destination* __restrict to, const Source* __restrict from, std::int32_t n,
                                     Destination tag) {
    constexpr std::int32_t step = 1 + elementsOf<Source, Destination>;
    for (std::int32_t i = 0; i < n; ++i) {
        to[i * step] = tag;
        if constexpr (asRawBytes<Source, Destination>)
            std::memcpy(to + i * step + 1, from + i, sizeof(Source));
        else
            to[i * step + 1] = static_cast<Destination>(from[i]);
    }
}

struct MergeRow {
    ParamMask source, destination;
    std::int32_t step;  // elements that a tag and a sample take
    void (*write)(void* to, const void* from, std::int32_t n, std::uint32_t source);
};

template <class Source, class Destination>
constexpr MergeRow mergeRow(ParamMask source, ParamMask destination) {
    return {.source = source,
            .destination = destination,
            .step = 1 + elementsOf<Source, Destination>,
            .write = [](void* to, const void* from, std::int32_t n, std::uint32_t number) {
                writeTagged(static_cast<Destination*>(to), static_cast<const Source*>(from), n,
                            tagOf<Destination>(number));
            }};
}

constexpr MergeRow mergeTable[] = {
    mergeRow<std::int16_t, std::int16_t>(pipeInt16, pipeInt16),
    mergeRow<std::int32_t, std::int32_t>(pipeInt32, pipeInt32),
    mergeRow<float, float>(pipeFloat, pipeFloat),
    mergeRow<double, double>(pipeDouble, pipeDouble),
    mergeRow<std::int32_t, std::int16_t>(pipeInt32, pipeInt16),
    mergeRow<float, std::int16_t>(pipeFloat, pipeInt16),
    mergeRow<double, std::int16_t>(pipeDouble, pipeInt16),
    mergeRow<float, std::int32_t>(pipeFloat, pipeInt32),
    mergeRow<double, std::int32_t>(pipeDouble, pipeInt32),
    mergeRow<std::int16_t, std::int32_t>(pipeInt16, pipeInt32),
    mergeRow<std::int16_t, float>(pipeInt16, pipeFloat),
    mergeRow<std::int16_t, double>(pipeInt16, pipeDouble),
    mergeRow<std::int32_t, double>(pipeInt32, pipeDouble),
    mergeRow<float, double>(pipeFloat, pipeDouble),
};

// Null for a pair that has no row.
const MergeRow* findRow(ParamMask source, ParamMask destination) {
    for (const MergeRow& row : mergeTable)
        if (row.source == source && row.destination == destination) return &row;
    return nullptr;
}

struct MergeSource {
    PipeHandle pipe;
    PbufHandle pbuf;
    const MergeRow* row;
};

struct MergeTask {
    std::int32_t n;                  // sources, 1 to 64
    MergeSource* sources = nullptr;  // in the order of the parameters
    void* input = nullptr;           // of all sources: a block is written out before the next one comes
    PipeHandle dest{};
    PbufHandle output{};
    void* elements = nullptr;  // the data area of the output
};

void readSources(ParamList list, const Slot* params, MergeTask& task) {
    const std::int32_t last = task.n + 1;
    for (std::int32_t i = 0; i < task.n; ++i) {
        MergeSource& source = task.sources[i];
        source.pipe = handleIn<PipeHandle>(params[i + 1]);
        source.row = findRow(zepl::param_type(list, i + 1), zepl::param_type(list, last));
        if (source.row == nullptr) zepl::param_error_msg(ParamError::typeMismatch, i + 1);
    }
    task.dest = handleIn<PipeHandle>(params[last]);
}

void openMerge(MergeTask& task) {
    for (std::int32_t i = 0; i < task.n; ++i) zepl::pipe_open(task.sources[i].pipe, zepl::OpenMode::read);
    zepl::pipe_open(task.dest, zepl::OpenMode::write);
    task.output = zepl::pbuf_open(task.dest, outputBlock);
    task.elements = zepl::pbuf_get_data_ptr(task.output);
    task.input = zepl::ralloc(inputBytes);
    for (std::int32_t i = 0; i < task.n; ++i) {
        MergeSource& source = task.sources[i];
        source.pbuf = openPbufOn(source.pipe, task.input, 1, inputBlock);
    }
}

// False when no source had anything.
bool mergeRound(const MergeTask& task) {
    bool any = false;
    for (std::int32_t i = 0; i < task.n; ++i) {
        const MergeSource& source = task.sources[i];
        if (zepl::pipe_num(source.pipe) == 0) continue;
        any = true;
        const std::int32_t count = zepl::pbuf_get(source.pbuf);
        source.row->write(task.elements, task.input, count, static_cast<std::uint32_t>(i));
        zepl::pbuf_put_set_cnt(task.output, count * source.row->step);
    }
    return any;
}

}  // namespace

std::uint32_t mergef(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 2, maxBranches + 1, beginRepeat, anyPipe, endRepeat);
    MergeTask task{.n = count - 1};
    task.sources = static_cast<MergeSource*>(zepl::ralloc(sizeof(MergeSource) * static_cast<std::size_t>(task.n)));
    readSources(list, params, task);
    openMerge(task);
    for (;;)
        if (!mergeRound(task)) zepl::task_switch();
}

}  // namespace zcmds
