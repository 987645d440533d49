#include "frame/cursors.h"

namespace zcmds {

void openReader(StreamReader& reader, PipeHandle pipe, std::int32_t capacity) {
    reader.pipe = pipe;
    zepl::pipe_open(pipe, zepl::OpenMode::read);
    reader.pbuf = zepl::pbuf_open(pipe, capacity);
}

void openWriter(StreamWriter& writer, PipeHandle pipe, std::int32_t capacity, void** first) {
    writer.pipe = pipe;
    zepl::pipe_open(pipe, zepl::OpenMode::write);
    writer.pbuf = zepl::pbuf_open(pipe, capacity);
    if (capacity != 0) writer.ptr = zepl::pbuf_get_data_ptr(writer.pbuf);
    *first = writer.ptr;
}

void openReaderOnBuffer(StreamReader& reader, PipeHandle pipe, void* buffer, std::int32_t maxCount) {
    reader.pipe = pipe;
    zepl::pipe_open(pipe, zepl::OpenMode::read);
    reader.pbuf = openPbufOn(pipe, buffer, 1, maxCount);
    reader.ptr = buffer;
}

PbufHandle openPbufOn(PipeHandle pipe, void* data, std::int32_t min, std::int32_t max) {
    const PbufHandle pbuf = zepl::pbuf_open(pipe, 0);
    zepl::pbuf_set_min_cnt(pbuf, min);
    zepl::pbuf_set_max_cnt(pbuf, max);
    zepl::pbuf_set_data_ptr(pbuf, data);
    return pbuf;
}

void openInPlacePair(const Slot* params, ParamPair pair, StreamReader& reader, StreamWriter& writer,
                     std::int32_t capacity) {
    void* buffer = nullptr;
    openWriter(writer, handleIn<PipeHandle>(params[pair.destination]), capacity, &buffer);
    openReaderOnBuffer(reader, handleIn<PipeHandle>(params[pair.source]), buffer, capacity);
}

}  // namespace zcmds
