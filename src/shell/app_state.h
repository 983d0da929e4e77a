// Process-wide state of the editor that every part of the shell may read: the
// frame, the window with the focus, whether this is a background process, the
// active tool, the layout sizes and the flags that guard closing and opening.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <deque>
#include <functional>
#include <vector>

class QFont;
class QMainWindow;
class QMdiArea;

// The frame's title, which is also how a second start recognises the first.
inline constexpr const char frame_title[] = "Orvane Pro 64  v6.0.10 ";
inline constexpr const char product_name[] = "Orvane Pro";
inline constexpr const char product_version[] = "6.0.10";

// Set when this process was started by another as its background process.
// Everything that could show a window tests it first.
struct BatchParent {
    bool present = false;
    QString channel;  // the parent's channel name, as given after "-?batch"
    QString rest;     // the rest of the command line, kept for the process's own use
    explicit operator bool() const { return present; }
};

// The seven sizes panels are laid out from, computed once from the UI font.
struct UiSizes {
    int line_height = 0;
    int button_height = 0;  // line_height * 11 / 8
    int gap = 0;            // button_height / 4
    int slider_height = 17;
    int char_width = 0;    // the font's average character width
    int edit_height = 0;   // a one-line edit field
    int scroll_width = 0;  // the width of a scroll bar
};

UiSizes ui_sizes_compute(const QFont& font);

// Folders and flags found at start-up.
struct ShellPaths {
    QString program_dir;
    QString pictures_dir;
    QString app_data_dir;
    QString user_data_dir;    // our own folder below the user's application data
    bool linux_flag = false;  // a file named `linux` lies beside the program
};

// Signals for whoever shows shell state, such as the toolbars.
class ShellSignals : public QObject {
    Q_OBJECT
signals:
    void tool_changed(int code);
};

ShellSignals& shell_signals();

struct AppState {
    QMainWindow* main_window = nullptr;
    QMdiArea* mdi_area = nullptr;
    // The child that has the input focus: an image window, a preview or a panel.
    QPointer<QWidget> active_window;
    BatchParent batch_parent;
    int current_tool = 0;  // 0: no tool
    UiSizes sizes;
    ShellPaths paths;
    // Enter means "OK" to the active panel; off while a window that keeps Enter
    // for itself is active.
    bool enter_is_ok = true;
    // Open transformation panels, and the mask tool when it is open.
    std::vector<QPointer<QWidget>> panels;
    QPointer<QWidget> mask_tool;
    // This process put an image on the clipboard (the close sequence asks about it).
    bool clipboard_image_ours = false;
    // A file is being opened or saved; drops are refused and opens queued meanwhile.
    bool file_operation_busy = false;
    // Files waiting until the panels close or the running open ends.
    std::deque<QString> open_queue;
    // Image windows docked beside the work area; asked before closing like the children.
    std::vector<QPointer<QWidget>> docked_image_windows;
    // The browser's veto on closing; empty while there is no browser.
    std::function<bool()> browser_may_close;
};

extern AppState app_state;

// Back to the state of a fresh start (the frame pointers are left to the frame).
void app_state_reset();

// True while a transformation panel is open.
bool transform_panel_open();
// True while the mask tool is open.
bool mask_tool_open();
