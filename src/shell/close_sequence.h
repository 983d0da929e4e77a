// The questions and steps between the user's request to close the program and
// the frame going away.
#pragma once

// Runs the close sequence of the frame. Returns true when the frame may now be
// destroyed, false when a question or a window stopped the closing.
[[nodiscard]] bool frame_close_sequence();

// Asks the browser, then every child of the work area without an owner in
// window order, then the docked image windows whether they may close. Stops at
// the first veto and returns false; true when none vetoed.
[[nodiscard]] bool all_windows_may_close();
