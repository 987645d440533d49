// Cursors on the blocks of a pipe. They are plain records that a task keeps for the whole of its life; nothing is to be
// closed. Counts are in elements; a command steps `ptr` by its own element type.
#pragma once

#include "frame/types.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/tasks.h"

namespace zcmds {

// An input pipe.
struct StreamReader {
    PipeHandle pipe{};       // the input pipe
    PbufHandle pbuf{};       // its pbuf
    std::int32_t count = 0;  // elements left in the current block
    void* ptr = nullptr;     // next element to read

    // Yields, then waits for the next block and returns its count, which can be 0.
    std::int32_t refill() {
        zepl::task_switch();
        ptr = zepl::pbuf_get_data_ptr(pbuf);
        count = zepl::pbuf_get(pbuf);
        return count;
    }

    // The same for a block of exactly `n`: keeps this reader in step with another that got `n`, also where a get ends with
    // nothing.
    void refillExactly(std::int32_t n) {
        zepl::pbuf_set_min_cnt(pbuf, n);
        zepl::pbuf_set_max_cnt(pbuf, n);
        while (refill() != n) {
        }
    }
};

// An output pipe.
struct StreamWriter {
    PipeHandle pipe{};         // the output pipe
    PbufHandle pbuf{};         // its pbuf
    std::int32_t pending = 0;  // elements written to the data area and not yet published
    void* ptr = nullptr;       // next place to write

    // Publishes what is pending; `ptr` goes back to the start of the data area in any case.
    void flush() {
        ptr = zepl::pbuf_get_data_ptr(pbuf);
        if (pending != 0) {
            zepl::pbuf_put_set_cnt(pbuf, pending);
            pending = 0;
        }
    }
};
static_assert(sizeof(void*) != 4 || (sizeof(StreamReader) == 16 && sizeof(StreamWriter) == 16));

// Two parameter positions that belong together.
struct ParamPair {
    std::int32_t source;
    std::int32_t destination;
};

// For commands that produce output only now and then: publishes if something is pending, else leaves the writer as it is;
// then refills the reader.
inline std::int32_t flushAndRefill(StreamReader& reader, StreamWriter& writer) {
    if (writer.pending > 0) writer.flush();
    return reader.refill();
}

// Opens the pipe for reading by blocks of 1 to `capacity` elements in a buffer of the host's.
void openReader(StreamReader& reader, PipeHandle pipe, std::int32_t capacity);

// Opens the pipe for writing from a buffer of `capacity` elements of the host's, and stores its start in `*first`. With a
// capacity of 0 there is no buffer, `*first` is null, and the caller gives the pbuf its memory.
void openWriter(StreamWriter& writer, PipeHandle pipe, std::int32_t capacity, void** first);

// Opens the pipe for reading by blocks of 1 to `maxCount` elements into the caller's `buffer`.
void openReaderOnBuffer(StreamReader& reader, PipeHandle pipe, void* buffer, std::int32_t maxCount);

// A pbuf of the open pipe on the caller's memory at `data`, for blocks of `min` to `max` elements.
PbufHandle openPbufOn(PipeHandle pipe, void* data, std::int32_t min, std::int32_t max);

// Opens the pair's destination for writing and its source for reading into the same buffer of `capacity` elements, not 0.
// A command on such a pair must not write more than it reads.
void openInPlacePair(const Slot* params, ParamPair pair, StreamReader& reader, StreamWriter& writer,
                     std::int32_t capacity);

}  // namespace zcmds
