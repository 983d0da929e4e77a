// The kept helper threads: every index runs exactly once, whether the loop
// stands alone, inside another loop, or beside a loop of another thread, for
// any thread count; many rounds, so that a late helper joining a finished
// loop would show.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/parallel.h"

namespace {

// Runs a loop of `count` and says whether every index ran once.
bool runs_once(int count) {
    std::vector<std::atomic<int>> hits(static_cast<std::size_t>(count));
    parallel_for(count, [&](int i) { ++hits[static_cast<std::size_t>(i)]; });
    for (const auto& h : hits)
        if (h != 1) return false;
    return true;
}

TEST(Parallel, EveryIndexOnceAloneNestedAndBesideAnotherThread) {
    for (int threads : {1, 2, 5, 8}) {
        SCOPED_TRACE(threads);
        parallel_set_threads(threads);
        for (int round = 0; round < 200; ++round) {
            ASSERT_TRUE(runs_once(round % 7 + 1));
            std::atomic<int> inner_ok{0};
            parallel_for(4, [&](int) { inner_ok += runs_once(50); });
            ASSERT_EQ(inner_ok, 4);
            bool beside = false;
            std::thread other([&] { beside = runs_once(300); });
            const bool here = runs_once(300);
            other.join();
            ASSERT_TRUE(here && beside);
        }
    }
    parallel_set_threads(0);
}

}  // namespace
