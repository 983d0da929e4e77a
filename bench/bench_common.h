// Timing helpers shared by the benchmarks.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs a shell command and returns its wall time, or -1 when it failed.
inline double timed_command(const std::string& command) {
    const auto start = Clock::now();
    if (std::system(command.c_str()) != 0) return -1.0;
    return seconds_since(start);
}

inline double median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace bench
