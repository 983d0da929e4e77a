// Work on a TIFF or JPEG streamed to a TIFF or JPEG a band of lines at a time: a copy, or a
// transformation whose every output line comes from its own input line alone
// (TransformDescriptor::line_local). A picture then never sits whole in
// memory: the lines read, computed and written stay in the processor's cache,
// and the system has no fresh whole-picture buffers to clear. The file written
// is byte for byte the one the whole-picture way gives (read, compute, save).
#pragma once

#include <string>

#include "file/write_image.h"

struct TransformDescriptor;

// band_run's answer when the work cannot stream; nothing was written.
inline constexpr int band_run_declined = -1;

struct BandRun {
    const TransformDescriptor* descriptor = nullptr;  // null: a plain copy
    const void* params = nullptr;
    int filter = 0;      // the Save Image filter of the output
    int band_lines = 0;  // lines of a band; 0 chooses about 4 MiB of input
    SaveOptions save;
};

// Streams `in` to `out`. Declines (band_run_declined, the output untouched)
// when the input is neither a TIFF the own reader takes as it stands nor a
// JPEG (named so, with a JPEG's first bytes), the output
// is neither TIFF nor JPEG, a thumbnail is asked for, or the transformation is not
// line-local with these parameters; also when the input turns out damaged,
// so that the whole-picture way, with its fallback reader, has its say.
// Otherwise 0 or the error code, the output then as it was.
[[nodiscard]] int band_run(const std::string& in, const std::string& out, const BandRun& run);
