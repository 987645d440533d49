// Hot loops are built for several instruction sets in one binary, and the loader picks the best that the machine has. The
// arithmetic is the same in each, so the results are the same to the bit.
#pragma once

// Not with sanitizers, whose instrumentation would run in the choice of the clone, before the sanitizer's own start. The last
// is named by its level: the names of processors with AVX-512 mean tunings that keep to vectors of 256 bits.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define LIBZEPL_VECTOR_CLONES [[gnu::target_clones("default", "avx2", "arch=x86-64-v4")]]
#else
#define LIBZEPL_VECTOR_CLONES
#endif
