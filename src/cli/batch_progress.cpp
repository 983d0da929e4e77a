#include "cli/batch_progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/progress.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t large_image_pixels = 50'000'000;

class TerminalProgress final : public ProgressDisplay {
public:
    explicit TerminalProgress(double delay) : start_(Clock::now()), delay_(delay) {}

    void begin(const char* title, std::int64_t first, std::int64_t last, bool) override {
        title_ = title ? title : "";
        first_ = first;
        last_ = last;
        shown_percent_ = -1;
    }

    int step(std::int64_t value) override {
        if (!wanted()) return 0;
        const std::int64_t span = last_ - first_;
        const int percent = span > 0 ? static_cast<int>((value - first_) * 100 / span) : 100;
        if (percent != shown_percent_) {
            std::fprintf(stderr, "\r%s %3d%%", title_.c_str(), percent);
            std::fflush(stderr);
            shown_percent_ = percent;
        }
        return 0;
    }

    void end() override {
        if (shown_percent_ < 0) return;
        std::fprintf(stderr, "\r%s 100%%\n", title_.c_str());
        shown_percent_ = -1;
    }

    void wait_cursor(bool) override {}

    void set_large() { large_ = true; }

private:
    bool wanted() const {
        if (large_) return true;
        return std::chrono::duration<double>(Clock::now() - start_).count() >= delay_;
    }

    Clock::time_point start_;
    double delay_;
    bool large_ = false;
    std::string title_;
    std::int64_t first_ = 0;
    std::int64_t last_ = 0;
    int shown_percent_ = -1;
};

TerminalProgress* display = nullptr;

}  // namespace

void batch_progress_start() {
    if (display || !isatty(STDERR_FILENO)) return;
    double delay = 1.0;
    if (const char* text = std::getenv("ORVANE_PROGRESS_DELAY")) {
        char* end = nullptr;
        const double value = std::strtod(text, &end);
        if (end != text && value >= 0) delay = value;
    }
    static TerminalProgress terminal(delay);
    display = &terminal;
    progress_set_display(display);
}

bool batch_progress_on() {
    return display != nullptr;
}

void batch_progress_image(std::int64_t pixels) {
    if (display && pixels > large_image_pixels) display->set_large();
}
