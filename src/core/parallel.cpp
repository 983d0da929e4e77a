#include "core/parallel.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace {

std::atomic<int> chosen_threads{0};

int core_count() {
    static const int cores = static_cast<int>(std::thread::hardware_concurrency());
    return cores;
}

// True on a thread while it runs a loop's body: a loop inside a loop runs
// on that thread alone rather than waiting for helpers that are all busy.
thread_local bool inside_loop = false;

// Helper threads kept for the life of the process: a stream of small loops
// (a band of lines at a time) would otherwise spend more on starting threads
// than on the work. One loop runs on them at a time.
class Pool {
public:
    ~Pool() {
        {
            const std::lock_guard lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        for (std::thread& t : threads_)
            t.join();
    }

    // Takes the pool for one loop; false when another thread has it.
    bool try_take() { return !busy_.exchange(true); }

    // Runs the loop with up to `helpers` pool threads beside the caller.
    void run(int count, int helpers, const std::function<void(int)>& body) {
        {
            const std::lock_guard lock(mutex_);
            while (static_cast<int>(threads_.size()) < helpers)
                threads_.emplace_back([this] { serve(); });
            body_ = &body;
            count_ = count;
            next_.store(0);
            places_ = helpers;
            open_ = true;
            ++generation_;
        }
        wake_.notify_all();
        work(body, count);
        std::unique_lock lock(mutex_);
        open_ = false;
        done_.wait(lock, [this] { return running_ == 0; });
        body_ = nullptr;
        busy_.store(false);
    }

private:
    void work(const std::function<void(int)>& body, int count) {
        inside_loop = true;
        for (int i = next_++; i < count; i = next_++)
            body(i);
        inside_loop = false;
    }

    void serve() {
        std::uint64_t seen = 0;
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [&] { return stop_ || (open_ && generation_ != seen && places_ > 0); });
            if (stop_) return;
            seen = generation_;
            --places_;
            ++running_;
            const std::function<void(int)>& body = *body_;
            const int count = count_;
            lock.unlock();
            work(body, count);
            lock.lock();
            if (--running_ == 0) done_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::vector<std::thread> threads_;
    std::atomic<bool> busy_{false};
    std::atomic<int> next_{0};
    const std::function<void(int)>* body_ = nullptr;
    int count_ = 0;
    int places_ = 0;   // helpers still wanted by the open loop
    int running_ = 0;  // helpers inside the loop
    bool open_ = false;
    bool stop_ = false;
    std::uint64_t generation_ = 0;
};

Pool& pool() {
    static Pool instance;
    return instance;
}

}  // namespace

int parallel_threads() {
    if (const int chosen = chosen_threads.load()) return chosen;
    return std::clamp(core_count(), 1, parallel_max_threads);
}

void parallel_set_threads(int count) {
    chosen_threads = std::clamp(count, 0, parallel_max_threads);
}

void parallel_for(int count, const std::function<void(int)>& body) {
    const int threads = std::min(parallel_threads(), count);
    if (threads <= 1 || inside_loop || !pool().try_take()) {
        for (int i = 0; i < count; ++i)
            body(i);
        return;
    }
    pool().run(count, threads - 1, body);
}
