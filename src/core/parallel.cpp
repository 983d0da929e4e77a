#include "core/parallel.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace {

std::atomic<int> chosen_threads{0};

}  // namespace

int parallel_threads() {
    if (const int chosen = chosen_threads.load()) return chosen;
    const int cores = static_cast<int>(std::thread::hardware_concurrency());
    return std::clamp(cores, 1, parallel_max_threads);
}

void parallel_set_threads(int count) {
    chosen_threads = std::clamp(count, 0, parallel_max_threads);
}

void parallel_for(int count, const std::function<void(int)>& body) {
    const int threads = std::min(parallel_threads(), count);
    if (threads <= 1) {
        for (int i = 0; i < count; ++i)
            body(i);
        return;
    }
    std::atomic<int> next{0};
    const auto work = [&] {
        for (int i = next++; i < count; i = next++)
            body(i);
    };
    std::vector<std::thread> helpers;
    helpers.reserve(static_cast<std::size_t>(threads - 1));
    for (int t = 1; t < threads; ++t)
        helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers)
        helper.join();
}
