// The line loop of a compute routine spread over the cores. Lines are split
// into bands; each band opens its own sources and sink at its first line, so
// a routine whose lines don't depend on each other (every table or
// per-pixel transformation) gives the same output whatever the thread count.
// Progress is reported, and a cancel noticed, between rounds of bands on the
// calling thread.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "transform/transform.h"

// One line's work: the input line, the mask line (null without a mask), the
// output line, and scratch memory of the band's own.
struct BandLine {
    const std::uint8_t* in;
    const std::uint8_t* mask;
    std::uint8_t* out;
    std::vector<std::uint8_t>& scratch;
};

// Runs `line` for every line of `args`, reading `input` and, when not null,
// `mask` through line sources and writing `args.output` through line sinks.
// The output must already be allocated. Returns 0, 1 when memory runs out,
// or 11 when the user cancels.
[[nodiscard]] int transform_line_bands(const ComputeArgs& args, const Image* input,
                                       const Image* mask, const char* title,
                                       const std::function<void(const BandLine&)>& line);
