// BMERGEF puts several streams of one type onto one pipe, by whole blocks, in the order in which the blocks are complete.
// Each block follows a tag, the number of its source.

#include "frame/cursors.h"
#include "frame/element_type.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"
#include "module/commands.h"
#include "routing/source_tag.h"

namespace zcmds {

const char* const bmergefSignature =
    "( in      pipe     (int16|int32|float|double)  src   [ , in    typeof(src)  moresrc   ]* ,   "
    "const   storage  (int16|int32)  blocksize ,   out     typeof(src)  dest )";

namespace {

constexpr std::uint32_t maxInBlock = 16384;

struct BlockSource {
    PipeHandle pipe;
    PbufHandle pbuf;
};

struct BlockMergeTask {
    std::int32_t n;          // sources, 1 to 64
    std::int32_t blockSize;  // 1 to 16384 samples
    PipeHandle dest;
    PbufHandle output{};
    BlockSource sources[maxBranches]{};  // on the output's data area, so that no sample is copied here
};

void checkList(ParamList list, const Slot* params, std::int32_t count) {
    const ParamMask destKind = zepl::param_type(list, count), sizeKind = zepl::param_type(list, count - 1);
    if ((destKind & constantInteger) != 0) zepl::param_error_msg(ParamError::wrongKind, count);
    for (std::int32_t i = 1; i <= count - 2; ++i)
        if (zepl::param_type(list, i) != destKind) zepl::param_error_msg(ParamError::typeMismatch, i);
    if ((sizeKind & constantInteger) == 0) zepl::param_error_msg(ParamError::wrongKind, count - 1);
    const auto blockSize = static_cast<std::uint32_t>(integerIn(params[count - 1], sizeKind));
    if (blockSize == 0 || blockSize > maxInBlock) zepl::param_error_msg(ParamError::notPositive, count - 1);
}

void openBlockMerge(BlockMergeTask& task, const Slot* params) {
    zepl::pipe_open(task.dest, zepl::OpenMode::write);
    task.output = zepl::pbuf_open(task.dest, task.blockSize);
    void* const block = zepl::pbuf_get_data_ptr(task.output);
    for (std::int32_t i = 0; i < task.n; ++i) {
        BlockSource& source = task.sources[i];
        source.pipe = handleIn<PipeHandle>(params[i + 1]);
        zepl::pipe_open(source.pipe, zepl::OpenMode::read);
        source.pbuf = openPbufOn(source.pipe, block, task.blockSize, task.blockSize);
    }
}

// False when no source had a whole block.
template <class Element>
bool mergeRound(const BlockMergeTask& task) {
    bool any = false;
    for (std::int32_t i = 0; i < task.n; ++i) {
        const BlockSource& source = task.sources[i];
        if (zepl::pipe_num_complete(source.pipe, task.blockSize) < task.blockSize) continue;
        any = true;
        zepl::pbuf_get(source.pbuf);
        const auto tag = tagOf<Element>(static_cast<std::uint32_t>(i));
        zepl::pipe_value_put(task.dest, &tag);
        zepl::pbuf_put_set_cnt(task.output, task.blockSize);
    }
    return any;
}

template <class Element>
[[noreturn]] void mergeBlocks(const BlockMergeTask& task) {
    for (;;)
        if (!mergeRound<Element>(task)) zepl::task_switch();
}

}  // namespace

std::uint32_t bmergef(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, maxBranches + 2, anyPipe, beginRepeat,
                                             anyPipe | constantInteger, endRepeat);
    checkList(list, params, count);
    BlockMergeTask task{.n = count - 2,
                        .blockSize = integerIn(params[count - 1], zepl::param_type(list, count - 1)),
                        .dest = handleIn<PipeHandle>(params[count])};
    openBlockMerge(task, params);
    return forElementType(zepl::param_type(list, count),
                          [&]<class Element>() -> std::uint32_t { mergeBlocks<Element>(task); });
}

}  // namespace zcmds
