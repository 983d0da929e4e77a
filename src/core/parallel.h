// Work spread over the cores: at most the core count and at most 8 threads.
//
// Each index is computed by exactly one thread and writes only its own
// results, so what comes out is the same whatever the number of threads.
#pragma once

#include <functional>

inline constexpr int parallel_max_threads = 8;

// The threads a loop may use: the core count up to 8, or what
// parallel_set_threads chose.
int parallel_threads();
// Fixes the thread count (1 runs everything on the calling thread); 0 goes
// back to the core count. For tests and benchmarks that compare counts.
void parallel_set_threads(int count);

// Runs body(0) .. body(count - 1) on up to parallel_threads() threads, the
// calling thread among them, and returns when all are done. Indices are handed
// out in order as threads become free.
void parallel_for(int count, const std::function<void(int)>& body);
