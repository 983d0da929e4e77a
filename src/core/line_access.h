// Line-by-line access for compute routines. A routine reads its input through
// a LineSource (or a NeighbourSource when it needs a neighbourhood of each
// pixel) and writes through a LineSink. These absorb zoom and region, so the
// same loop renders a reduced preview of a visible rectangle and the final
// picture. Reduction is pure subsampling; at step 1 nothing is copied.
//
// Order of calls: init all sources and the sink before anything can fail;
// open; per output line next / line / (mask next) / write / commit; close
// all on every path. Closing an initialised, never opened record is harmless.
#pragma once

#include <cstdint>

#include "core/image.h"

struct LineSource {
    const Image* image;
    std::int32_t x;        // first pixel read in each line
    std::int32_t y;        // next line number; increasing y walks up the picture
    std::int32_t step;     // distance between pixels and lines read
    std::int32_t count;    // pixels delivered a line
    std::uint8_t* buffer;  // null while lines are handed out in place
};

void line_source_init(LineSource* source);
// zoom as in the window record: 1, n >= 2 (magnified: read at step 1) or -n.
// Returns 0, or 1 when memory runs out.
[[nodiscard]] int line_source_open(const Image* image, int x, int y, int zoom, int count,
                                   LineSource* source);
// `count` pixels in the image's own layout; a binary image arrives as bytes of
// 0 or 255. Reading past the last line repeats it. Valid until the next call.
const std::uint8_t* line_source_next(LineSource* source);
void line_source_close(LineSource* source);

struct NeighbourSource {
    const Image* image;
    std::int32_t x;
    std::int32_t y;
    std::int32_t step;
    std::int32_t count;
    std::int32_t radius;        // each call delivers 2 * radius + 1 lines
    std::int32_t mode;          // 0 direct pointers, 1 full span copied, 2 gathered
    std::int32_t stride;        // samples from one output pixel's neighbourhood to the next
    std::int32_t buffer_bytes;  // size of each line buffer
    std::uint8_t** lines;       // 2 * radius + 1 entries; buffers behind them unless mode 0
};

void neighbour_source_init(NeighbourSource* source);
[[nodiscard]] int neighbour_source_open(const Image* image, int x, int y, int zoom, int count,
                                        int radius, NeighbourSource* source);
// Lines centre - radius .. centre + radius (edge lines repeated outward). The
// neighbourhood of output pixel i starts at sample i * stride in each line.
std::uint8_t* const* neighbour_source_next(NeighbourSource* source);
void neighbour_source_close(NeighbourSource* source);

struct LineSink {
    Image* image;
    std::int32_t zoom;     // replication factor: the zoom when 2 or more, else 1
    std::int32_t x_first;  // written span, inclusive
    std::int32_t x_last;
    std::int32_t row_bytes;
    std::int32_t y;        // next line written
    std::int32_t offset;   // byte offset of x_first in a line
    std::uint8_t* buffer;  // only when zoom is not 1
    bool apply;            // final apply rather than preview; informational
};

void line_sink_init(LineSink* sink);
[[nodiscard]] int line_sink_open(Image* image, int zoom, int x_first, int x_last, int y_first,
                                 bool apply, LineSink* sink);
// Where to write the next output line: straight into the image at zoom 1.
std::uint8_t* line_sink_line(LineSink* sink);
// The line is complete: replicate it by the zoom, horizontally and vertically.
void line_sink_commit(LineSink* sink);
void line_sink_close(LineSink* sink);

// The amount rule. Panels give amounts 0..1024; `amount_high` is -1 without a
// mask. `a` and `b` are the 8-bit strengths at black and white mask pixels.
struct AmountStrength {
    int a;
    int b;  // -1 without a mask
    // The result stands as computed: no blending needed.
    bool full() const { return a == 255 && (b == -1 || b == 255); }
    // The transformation has no effect: an apply copies, a preview refreshes.
    bool none() const { return a == 0 && (b == -1 || b == 0); }
    bool masked() const { return b >= 0; }
};
AmountStrength amount_strength(int amount_low, int amount_high);

// Blends a computed line with its input in place of the result:
// result = lerp(input, result, amount), amount being `a`, or with a mask line
// lerp8(a, b, mask sample) per pixel. `samples` is 1 for gray, 3 for colour.
void amount_blend_line8(const std::uint8_t* input, std::uint8_t* result, int count, int samples,
                        const AmountStrength& strength, const std::uint8_t* mask);
void amount_blend_line16(const std::uint16_t* input, std::uint16_t* result, int count, int samples,
                         const AmountStrength& strength, const std::uint8_t* mask);
