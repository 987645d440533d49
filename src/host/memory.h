// Memory. Sizes are in bytes. A host that has none left ends the run with a clear message; null is never returned.
#pragma once

#include <cstddef>

namespace zepl {

// Memory for the life of the calling task: zeroed, aligned to 64 bytes, never given back.
void* ralloc(std::size_t bytes);

// The general heap.
void* malloc(std::size_t bytes);
void free(void* pointer);
void* alloc_zero_mem(std::size_t bytes);

}  // namespace zepl
