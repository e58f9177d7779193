// Counts every heap allocation of the process, to show which paths allocate.
#ifndef CALYX_BENCH_CLIENT_COUNTING_ALLOCATOR_H
#define CALYX_BENCH_CLIENT_COUNTING_ALLOCATOR_H

#include <stdint.h>

namespace calyx_bench {

// Allocations made through operator new since the program started.
uint64_t AllocationCount();

}  // namespace calyx_bench

#endif  // CALYX_BENCH_CLIENT_COUNTING_ALLOCATOR_H
