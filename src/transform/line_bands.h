// The line loop of a compute routine spread over the cores. Lines are split
// into bands; each band opens its own sources and sink at its first line, so
// a routine whose lines don't depend on each other's results (every table,
// per-pixel and neighbourhood transformation) gives the same output whatever
// the thread count. Progress is reported, and a cancel noticed, between
// rounds of bands on the calling thread.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "core/line_access.h"
#include "core/tables.h"
#include "transform/transform.h"

// Runs band(first, count) for consecutive bands of the lines of `args`
// (input lines when reading, output lines at the output's zoom when
// writing), on up to parallel_threads() threads. `band` returns 0 or an
// error code; the first failure ends the run. Returns 0, the band's code,
// or 11 when the user cancels.
[[nodiscard]] int transform_for_bands(const ComputeArgs& args, const char* title,
                                      const std::function<int(int first, int count)>& band);

// One line's work: the input line (or, with a radius, its 2r + 1 lines, the
// neighbourhood of output pixel i starting at sample i * stride of each),
// the mask line (null without a mask), the output line, and scratch memory
// of the band's own.
struct BandLine {
    const std::uint8_t* in;
    const std::uint8_t* mask;
    std::uint8_t* out;
    std::vector<std::uint8_t>& scratch;
    std::uint8_t* const* rows = nullptr;
    int stride = 0;
};

// Runs `line` for every line of `args`, reading `input` (through a
// neighbourhood source when `radius` is above 0) and, when not null, `mask`,
// and writing `args.output`, which must already be allocated. Returns 0, 1
// when memory runs out, or 11 when the user cancels.
[[nodiscard]] int transform_line_bands(const ComputeArgs& args, const Image* input,
                                       const Image* mask, const char* title,
                                       const std::function<void(const BandLine&)>& line,
                                       int radius = 0);

// Puts one line of results (on the input's scale, `samples` a pixel) into
// the output line: as they are, or for a 16-bit picture's preview through
// `to8`; then, unless `strength` is full, blends them back toward `centre`,
// the input's own line, by amount and mask.
template <typename T>
void band_line_finish(const ComputeArgs& args, const std::int32_t* result, const T* centre, int n,
                      int samples, const AmountStrength& strength, const std::uint8_t* mask,
                      std::uint8_t* out, std::vector<std::uint8_t>& scratch) {
    const int count = n * samples;
    if (sizeof(T) == 1 || args.apply) {
        T* o = reinterpret_cast<T*>(out);
        for (int i = 0; i < count; ++i)
            o[i] = static_cast<T>(result[i]);
        if (strength.full()) return;
        if constexpr (sizeof(T) == 1)
            amount_blend_line8(centre, o, n, samples, strength, mask);
        else
            amount_blend_line16(centre, o, n, samples, strength, mask);
        return;
    }
    for (int i = 0; i < count; ++i)
        out[i] = to8[result[i]];
    if (strength.full()) return;
    scratch.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        scratch[i] = to8[centre[i]];
    amount_blend_line8(scratch.data(), out, n, samples, strength, mask);
}

// Opens a sink on `args.output` at input line `first` of the band.
[[nodiscard]] int band_sink_open(const ComputeArgs& args, int first, LineSink* sink);
