// Helpers shared by the shell's tests: a store of their own, a fresh program
// state and frame, scripted message boxes, a recorder of opened files, and
// minimal panels, child windows and pictures.
#pragma once

#include "core/errors.h"
#include "core/preferences.h"
#include "core/window_record.h"
#include "shell/app_state.h"
#include "shell/child_window.h"
#include "shell/file_open_queue.h"
#include "shell/image_window.h"
#include "shell/main_frame.h"
#include "shell/message_box.h"
#include "shell/active_window.h"
#include "shell/key_filter.h"
#include "shell/link_notify.h"
#include "shell/panel.h"
#include "shell/progress_panel.h"
#include "shell/transform_host.h"
#include "transform/driver.h"
#include "transform/settings.h"

#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <deque>
#include <cstring>
#include <memory>
#include <random>
#include <utility>
#include <vector>

// Keeps every shell test away from the user's own store and settings folder:
// while the test program runs, both live in a temporary folder of their own.
class TestStore {
public:
    TestStore() {
        const QString root = dir_.path();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, root);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, root);
        QDir(root).mkpath(QStringLiteral("settings"));
        settings_set_folder(folder().toStdString());
    }
    ~TestStore() { settings_set_folder({}); }
    TestStore(const TestStore&) = delete;
    TestStore& operator=(const TestStore&) = delete;
    QString folder() const { return dir_.filePath(QStringLiteral("settings")); }

private:
    QTemporaryDir dir_;
};

// One for the whole test program, made before any test runs.
inline TestStore test_store;

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

// Closes the frame without the save questions its image windows would ask.
inline void close_test_frame(std::unique_ptr<MainFrame>& frame) {
    if (frame)
        for (QMdiSubWindow* sub : frame->area()->subWindowList())
            if (ImageWindow* window = image_window_of(sub)) window->modified = 0;
    frame.reset();
    app_state_reset();
}

// A test class whose every test starts from a fresh program state with a
// frame shown, and ends with the frame closed without save questions. Qt Test
// finds these init() and cleanup() slots through the derived class.
class FrameTest : public QObject {
    Q_OBJECT
protected:
    QMdiArea* area() const { return frame_->area(); }
    std::unique_ptr<MainFrame> frame_;
private slots:
    void init() {
        reset_program_state();
        QVERIFY(show_test_frame(frame_, 1000, 750));
    }
    void cleanup() { close_test_frame(frame_); }
};

// Tests of transformation panels: keys, activation and links tracked once
// (initTestCase), then for each test a fresh frame with the progress display
// and the transformation host, without sticky settings or automatic preview.
inline void panel_tests_start() {
    key_filter_install();
    active_window_track();
    link_notifier_install();
    window_record_table_init();
}

[[nodiscard]] inline bool panel_frame_open(std::unique_ptr<MainFrame>& frame) {
    app_state_reset();
    preferences() = Preferences{};
    preferences().stickysettings = false;
    preferences().defaultpreview = false;
    if (!show_test_frame(frame, 1000, 800)) return false;
    progress_display_install(frame->area());
    transform_host_install(frame->area());
    return true;
}

inline void panel_frame_close(std::unique_ptr<MainFrame>& frame) {
    if (transform_state().panel_window != nullptr) transform_cancel();
    QTest::qWait(1);
    close_test_frame(frame);
}

// A window for the picture (which it takes), made the active one.
inline ImageWindow* show_picture(QMdiArea* area, Image* image) {
    ImageWindow* window = nullptr;
    if (image_window_create(area, image, &window) != 0) return nullptr;
    area->setActiveSubWindow(window->sub_window());
    return window;
}

// A picture of random bytes, the same for the same seed.
inline void fill_noise(Image* image, int type, int width, int height, unsigned seed = 1,
                       double resolution = 100.0) {
    QVERIFY(image_alloc(image, type, width, height, resolution) == 0);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int b = 0; b < image->row_bytes; ++b)
            image->rows[y][b] = static_cast<std::uint8_t>(random());
}

// Two pictures hold the same pixels (bits for binary; padding left out).
inline bool same_pixels(const Image& a, const Image& b) {
    if (a.type != b.type || a.width != b.width || a.height != b.height) return false;
    for (int y = 0; y < a.height; ++y) {
        if (a.type == image_type_binary) {
            for (int x = 0; x < a.width; ++x)
                if (image_bit_get(a.rows[y], x) != image_bit_get(b.rows[y], x)) return false;
        } else if (std::memcmp(a.rows[y], b.rows[y],
                               static_cast<std::size_t>(image_line_bytes(&a))) != 0) {
            return false;
        }
    }
    return true;
}

// Every error code reported, instead of a box.
class RecordingReporter : public ErrorReporter {
public:
    RecordingReporter() { before_ = error_set_reporter(this); }
    ~RecordingReporter() override { error_set_reporter(before_); }
    void report(int code, const char*, const char*) override { codes.push_back(code); }
    std::vector<int> codes;

private:
    ErrorReporter* before_ = nullptr;
};

inline QByteArray file_bytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

[[nodiscard]] inline bool write_file(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Answers boxes from a script while alive and records every box asked.
class ScriptedBoxes {
public:
    explicit ScriptedBoxes(std::deque<int> answers = {}) : answers_(std::move(answers)) {
        before_ = message_box_set_hook([this](const MessageBoxCall& call) {
            calls.push_back(call);
            if (answers_.empty()) return answer_ok;
            const int answer = answers_.front();
            answers_.pop_front();
            return answer;
        });
    }
    ~ScriptedBoxes() { message_box_set_hook(std::move(before_)); }
    ScriptedBoxes(const ScriptedBoxes&) = delete;
    ScriptedBoxes& operator=(const ScriptedBoxes&) = delete;

    void answer(int next) { answers_.push_back(next); }
    QStringList texts() const {
        QStringList result;
        for (const MessageBoxCall& call : calls)
            result.append(call.text);
        return result;
    }

    std::vector<MessageBoxCall> calls;

private:
    std::deque<int> answers_;
    MessageBoxHook before_;
};

// Records the files the shell opens instead of opening them.
class OpenRecorder {
public:
    explicit OpenRecorder(int result = 0) {
        before_ = open_file_set_routine([this, result](const QString& path) {
            opened.append(path);
            return result;
        });
    }
    ~OpenRecorder() { open_file_set_routine(std::move(before_)); }
    OpenRecorder(const OpenRecorder&) = delete;
    OpenRecorder& operator=(const OpenRecorder&) = delete;

    QStringList opened;

private:
    OpenFileRoutine before_;
};

// A panel that counts its roles; "Cancel" closes it like a real one.
class TestPanel : public QWidget, public PanelRoles {
public:
    explicit TestPanel(bool as_mask_tool = false, bool keeps_enter_key = false)
        : mask_tool_(as_mask_tool), keeps_enter_(keeps_enter_key) {
        if (mask_tool_)
            mask_tool_opened(this);
        else
            panel_opened(this);
    }
    ~TestPanel() override { finish(); }

    void ok() override { ++ok_count; }
    void cancel() override {
        ++cancel_count;
        finish();
        close();
    }
    bool keeps_enter() const override { return keeps_enter_; }

    int ok_count = 0;
    int cancel_count = 0;

private:
    void finish() {
        if (finished_) return;
        finished_ = true;
        if (mask_tool_)
            mask_tool_closed();
        else
            panel_closed(this);
    }
    bool mask_tool_ = false;
    bool keeps_enter_ = false;
    bool finished_ = false;
};

// A work-area window that answers the may-close question as told and notes
// each question in a shared log.
class TestChild : public QWidget, public ChildWindow {
public:
    TestChild(QString name, int kind, bool may, QStringList* log)
        : name_(std::move(name)), kind_(kind), may_(may), log_(log) {}

    int window_kind() const override { return kind_; }
    QWidget* owner_window() const override { return owner; }
    bool may_close() override {
        if (log_ != nullptr) log_->append(name_);
        return may_;
    }

    QWidget* owner = nullptr;
    int close_events = 0;

protected:
    void closeEvent(QCloseEvent* event) override {
        ++close_events;
        if (may_close())
            event->accept();
        else
            event->ignore();
    }

private:
    QString name_;
    int kind_;
    bool may_;
    QStringList* log_;
};
