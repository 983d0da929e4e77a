// The system's message box: every question and notice of the editor goes
// through it, and in a background process it answers by itself.
#pragma once

#include <QString>

#include <functional>

class QWidget;

// Kinds of box, by their buttons.
inline constexpr int box_ok = 0;
inline constexpr int box_ok_cancel = 1;
inline constexpr int box_yes_no_cancel = 3;
inline constexpr int box_yes_no = 4;

// Answers, as the platform numbers them.
inline constexpr int answer_ok = 1;
inline constexpr int answer_cancel = 2;
inline constexpr int answer_yes = 6;
inline constexpr int answer_no = 7;

// Shows `text` under `caption` with the buttons of `kind` and returns the
// answer. Restores the arrow cursor and releases the mouse first; the box stays
// in front of the main window. A background process shows nothing and answers
// OK for kinds 0 and 1, Yes for the others.
int message_box(QWidget* owner, const QString& caption, int kind, const QString& text);

// A box as it would have been shown.
struct MessageBoxCall {
    QWidget* owner;
    QString caption;
    int kind;
    QString text;
};

// When set, boxes of the editor are answered by `hook` instead of being shown
// (tests script their answers this way). Returns the one set before.
using MessageBoxHook = std::function<int(const MessageBoxCall&)>;
MessageBoxHook message_box_set_hook(MessageBoxHook hook);
