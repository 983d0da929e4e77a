// A fresh program state and a shown frame, for the shell tests that open
// windows in its work area.
#pragma once

#include "core/preferences.h"
#include "core/window_record.h"
#include "shell/app_state.h"
#include "shell/main_frame.h"

#include <QTest>

#include <memory>

// Forgets what an earlier test left: shell state, window records, preferences.
inline void reset_program_state() {
    app_state_reset();
    window_record_table_init();
    preferences() = Preferences{};
}

// Makes `frame` a new frame of the given size and waits until it is shown.
// Returns false when it never appears: use inside QVERIFY.
[[nodiscard]] inline bool show_test_frame(std::unique_ptr<MainFrame>& frame, int width,
                                          int height) {
    frame = std::make_unique<MainFrame>();
    frame->resize(width, height);
    frame->show();
    return QTest::qWaitForWindowExposed(frame.get());
}
