// Hot loops are built for several instruction sets in one binary; the loader picks the best that the machine has. The
// arithmetic is the same in each, so the results are the same to the bit.
#pragma once

// The last is named by its level, since the names of processors with AVX-512 mean tunings that keep to vectors of 256
// bits, which copy a block in L1 at half the rate.
//
// Not with clang++ 14, which takes no function templates here, nor with sanitizers, whose instrumentation would run in
// the choice of the clone, before the sanitizer's own start.
#if defined(__x86_64__) && !defined(__clang__) && !defined(__SANITIZE_ADDRESS__)
#define ZCMDS_VECTOR_CLONES [[gnu::target_clones("default", "avx2", "arch=x86-64-v4")]]
#else
#define ZCMDS_VECTOR_CLONES
#endif
