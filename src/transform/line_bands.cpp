#include "transform/line_bands.h"

#include <algorithm>
#include <atomic>

#include "core/line_access.h"
#include "core/parallel.h"
#include "core/progress.h"

namespace {

// Open sources and sink of one band, closed on every path.
struct BandAccess {
    LineSource source;
    LineSource mask;
    LineSink sink;
    BandAccess() {
        line_source_init(&source);
        line_source_init(&mask);
        line_sink_init(&sink);
    }
    ~BandAccess() {
        line_sink_close(&sink);
        line_source_close(&mask);
        line_source_close(&source);
    }
    BandAccess(const BandAccess&) = delete;
    BandAccess& operator=(const BandAccess&) = delete;
};

}  // namespace

int transform_line_bands(const ComputeArgs& args, const Image* input, const Image* mask,
                         const char* title, const std::function<void(const BandLine&)>& line) {
    const int lines = args.line_count;
    const int threads = parallel_threads();
    // Enough bands a round to keep every thread busy, and rounds short enough
    // for progress and cancel to answer promptly.
    const int band = std::max(8, lines / (threads * 16) + 1);
    const int step_in = args.zoom < 0 ? -args.zoom : 1;
    const int step_out = args.zoom >= 2 ? args.zoom : 1;

    const ProgressScope progress(title, static_cast<std::int64_t>(args.line_width) * lines, 0,
                                 std::max(lines - 1, 0), true);
    std::atomic<int> failed{0};
    for (int first = 0; first < lines;) {
        const int round_lines = std::min(lines - first, band * threads);
        const int bands = (round_lines + band - 1) / band;
        parallel_for(bands, [&](int b) {
            const int y0 = first + b * band;
            const int count = std::min(band, first + round_lines - y0);
            BandAccess access;
            std::vector<std::uint8_t> scratch;
            int err = line_source_open(input, args.source_x, args.source_y + y0 * step_in,
                                       args.zoom, args.line_width, &access.source);
            if (!err && mask)
                err = line_source_open(mask, args.source_x, args.source_y + y0 * step_in,
                                       args.zoom, args.line_width, &access.mask);
            if (!err)
                err = line_sink_open(args.output, args.zoom, args.region_x1, args.region_x2,
                                     args.region_y1 + y0 * step_out, args.apply, &access.sink);
            if (err) {
                failed.store(err);
                return;
            }
            for (int y = 0; y < count; ++y) {
                const std::uint8_t* in = line_source_next(&access.source);
                const std::uint8_t* m = mask ? line_source_next(&access.mask) : nullptr;
                line(BandLine{in, m, line_sink_line(&access.sink), scratch});
                line_sink_commit(&access.sink);
            }
        });
        if (int err = failed.load()) return err;
        first += round_lines;
        if (int err = progress.step(first - 1)) return err;
    }
    return 0;
}
