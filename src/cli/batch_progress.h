// Progress of long command-line work, on standard error when it is a terminal.
//
// A run shows progress once it has taken ORVANE_PROGRESS_DELAY seconds (1 by
// default) or once it holds an image over 50 megapixels; never when standard
// error goes to a file or a pipe, so scripts and logs stay clean.
#pragma once

#include <cstdint>

// Installs the terminal display when standard error is a terminal. Call once,
// first thing in main.
void batch_progress_start();
// Whether the display is installed: readers and writers then report progress.
bool batch_progress_on();
// An image of this many pixels is in hand: over 50 megapixels, progress shows
// from now on whatever the time.
void batch_progress_image(std::int64_t pixels);
