#include "shell/message_box.h"

#include "shell/app_state.h"

#include <QApplication>
#include <QCursor>
#include <QMainWindow>
#include <QMessageBox>
#include <QWidget>

#include <utility>

namespace {

MessageBoxHook& hook() {
    static MessageBoxHook current;
    return current;
}

QMessageBox::StandardButtons buttons_of(int kind) {
    switch (kind) {
        case box_ok_cancel:
            return QMessageBox::Ok | QMessageBox::Cancel;
        case box_yes_no_cancel:
            return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
        case box_yes_no:
            return QMessageBox::Yes | QMessageBox::No;
        default:
            return QMessageBox::Ok;
    }
}

int answer_of(int button) {
    switch (button) {
        case QMessageBox::Cancel:
            return answer_cancel;
        case QMessageBox::Yes:
            return answer_yes;
        case QMessageBox::No:
            return answer_no;
        default:
            return answer_ok;
    }
}

// The answer a box gives when nobody can see it.
int silent_answer(int kind) {
    return kind == box_ok || kind == box_ok_cancel ? answer_ok : answer_yes;
}

}  // namespace

MessageBoxHook message_box_set_hook(MessageBoxHook replacement) {
    MessageBoxHook before = std::move(hook());
    hook() = std::move(replacement);
    return before;
}

int message_box(QWidget* owner, const QString& caption, int kind, const QString& text) {
    if (app_state.batch_parent) return silent_answer(kind);

    if (QWidget* grabber = QWidget::mouseGrabber()) grabber->releaseMouse();
    if (hook()) return hook()(MessageBoxCall{owner, caption, kind, text});

    // Parented to the frame (or the owner's window), the box stays in front of it.
    QWidget* parent = owner != nullptr ? owner->window() : app_state.main_window;
    QMessageBox box(QMessageBox::NoIcon, caption, text, buttons_of(kind), parent);
    if (kind == box_yes_no) box.setEscapeButton(QMessageBox::No);
    QApplication::setOverrideCursor(Qt::ArrowCursor);
    const int button = box.exec();
    QApplication::restoreOverrideCursor();
    return answer_of(button);
}
