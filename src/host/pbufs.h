// Pbufs: block views of a pipe, with a data area, a count, and a minimum and a maximum count. All counts are in elements.
#pragma once

#include "handles.h"

namespace zepl {

// A pbuf on an open pipe. With a `capacity` above 0 the host provides the data area: zeroed, aligned to 64 bytes, and
// the maximum count is `capacity`. With 0 there is none, and the caller sets pointer, minimum and maximum count. The
// minimum count starts at 1. Never waits.
PbufHandle pbuf_open(PipeHandle pipe, std::int32_t capacity);

// The data area; no transfer changes it. Null until one is set on a pbuf of capacity 0.
void* pbuf_get_data_ptr(PbufHandle pbuf);

// Makes the caller's memory the data area; it stays the caller's.
void pbuf_set_data_ptr(PbufHandle pbuf, void* data);

// The minimum and the maximum number of elements that pbuf_get delivers. They bound gets, never puts.
void pbuf_set_min_cnt(PbufHandle pbuf, std::int32_t n);
std::int32_t pbuf_get_min_cnt(PbufHandle pbuf);
void pbuf_set_max_cnt(PbufHandle pbuf, std::int32_t n);
std::int32_t pbuf_get_max_cnt(PbufHandle pbuf);

// Waits until the least count is there, moves at most the greatest count from the pipe to the start of the data area and
// returns their number. With a minimum count of 0 it takes what is there and returns at once, 0 too.
std::int32_t pbuf_get(PbufHandle pbuf);

// What the last pbuf_get delivered, or what pbuf_set_cnt last set; a put leaves 0.
std::int32_t pbuf_get_cnt(PbufHandle pbuf);
void pbuf_set_cnt(PbufHandle pbuf, std::int32_t n);

// Appends the pbuf's count of elements (or `n`) from the data area to the pipe; waits until the pipe has taken them all.
// Then the data area can be overwritten.
void pbuf_put(PbufHandle pbuf);
void pbuf_put_set_cnt(PbufHandle pbuf, std::int32_t n);

}  // namespace zepl
