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
    NeighbourSource neighbours;
    LineSink sink;
    BandAccess() {
        line_source_init(&source);
        line_source_init(&mask);
        neighbour_source_init(&neighbours);
        line_sink_init(&sink);
    }
    ~BandAccess() {
        line_sink_close(&sink);
        neighbour_source_close(&neighbours);
        line_source_close(&mask);
        line_source_close(&source);
    }
    BandAccess(const BandAccess&) = delete;
    BandAccess& operator=(const BandAccess&) = delete;
};

int step_in(const ComputeArgs& args) {
    return args.zoom < 0 ? -args.zoom : 1;
}

}  // namespace

int transform_for_bands(const ComputeArgs& args, const char* title,
                        const std::function<int(int first, int count)>& band) {
    const int lines = args.line_count;
    const int threads = parallel_threads();
    // Enough bands a round to keep every thread busy, and rounds short enough
    // for progress and cancel to answer promptly.
    const int size = std::max(8, lines / (threads * 16) + 1);
    const ProgressScope progress(title, static_cast<std::int64_t>(args.line_width) * lines, 0,
                                 std::max(lines - 1, 0), true);
    std::atomic<int> failed{0};
    for (int first = 0; first < lines;) {
        const int round_lines = std::min(lines - first, size * threads);
        const int bands = (round_lines + size - 1) / size;
        parallel_for(bands, [&](int b) {
            const int y0 = first + b * size;
            if (int err = band(y0, std::min(size, first + round_lines - y0))) failed.store(err);
        });
        if (int err = failed.load()) return err;
        first += round_lines;
        if (int err = progress.step(first - 1)) return err;
    }
    return 0;
}

int band_sink_open(const ComputeArgs& args, int first, LineSink* sink) {
    const int step_out = args.zoom >= 2 ? args.zoom : 1;
    return line_sink_open(args.output, args.zoom, args.region_x1, args.region_x2,
                          args.region_y1 + first * step_out, args.apply, sink);
}

int transform_line_bands(const ComputeArgs& args, const Image* input, const Image* mask,
                         const char* title, const std::function<void(const BandLine&)>& line,
                         int radius) {
    return transform_for_bands(args, title, [&](int y0, int count) {
        BandAccess access;
        std::vector<std::uint8_t> scratch;
        const int y = args.source_y + y0 * step_in(args);
        int err = radius > 0 ? neighbour_source_open(input, args.source_x, y, args.zoom,
                                                     args.line_width, radius, &access.neighbours)
                             : line_source_open(input, args.source_x, y, args.zoom,
                                                args.line_width, &access.source);
        if (!err && mask)
            err = line_source_open(mask, args.source_x, y, args.zoom, args.line_width,
                                   &access.mask);
        if (!err) err = band_sink_open(args, y0, &access.sink);
        if (err) return err;
        for (int k = 0; k < count; ++k) {
            BandLine l{nullptr, nullptr, nullptr, scratch};
            if (radius > 0) {
                l.rows = neighbour_source_next(&access.neighbours);
                l.stride = access.neighbours.stride;
                l.in = l.rows[radius];  // the centre line, from the window's start
            } else {
                l.in = line_source_next(&access.source);
            }
            l.mask = mask ? line_source_next(&access.mask) : nullptr;
            l.out = line_sink_line(&access.sink);
            line(l);
            line_sink_commit(&access.sink);
        }
        return 0;
    });
}
