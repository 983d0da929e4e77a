// Preferences and saved state in the editor: what a start reads, the
// Preferences panel, what the end of a run writes, the session log's start.
#include "core/preferences.h"
#include "shell/close_sequence.h"
#include "shell/command_dispatch.h"
#include "shell/preferences_panel.h"
#include "shell/startup.h"
#include "shell_test_support.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>

namespace {

QString stored(const char* key) {
    return saved_store()->value(QString::fromLatin1(key)).toString();
}

void store_values(std::initializer_list<std::pair<const char*, const char*>> values) {
    auto store = saved_store();
    for (const auto& [key, value] : values)
        store->setValue(QString::fromLatin1(key), QString::fromLatin1(value));
    store->sync();
}

template <typename T>
T* control(QWidget* panel, const char* name) {
    return panel->findChild<T*>(QString::fromLatin1(name));
}

void click_ok(QWidget* panel) {
    auto* buttons = panel->findChild<QDialogButtonBox*>();
    QTest::mouseClick(buttons->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

int opener_failing_with_5() {
    return 5;
}

}  // namespace

class TestPreferences : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void a_start_reads_the_store();
    void the_background_process_neither_sticks_nor_writes();
    void panel_shows_and_keeps_the_values();
    void the_end_of_a_run_saves_the_state();
    void session_log_start();
    void shift_is_read_from_the_keyboard();
};

void TestPreferences::init() {
    app_state_reset();
    preferences_set_background(false);
    saved_store()->clear();
    preferences() = Preferences{};
    saved_state() = State{};
}

void TestPreferences::cleanup() {
    preferences_set_background(false);
    saved_store()->clear();
    app_state_reset();
}

void TestPreferences::a_start_reads_the_store() {
    // An empty store gives the defaults, whatever was there before; reading writes nothing.
    preferences().border_width = 3;
    saved_state().openfile = {"/x.jpg"};
    startup_saved_settings(false);
    QCOMPARE(preferences().border_width, 16);
    QCOMPARE(preferences().nfilemenu, 9);
    QVERIFY(saved_state().openfile.empty());
    QVERIFY(saved_store()->allKeys().isEmpty());

    store_values({{"Preferences/nfilemenu", "25"},
                  {"Preferences/confirm", "LAST"},
                  {"Preferences/border", "4 0 0.5 1"},
                  {"State/openfile0", "\"/p/one.jpg\""},
                  {"State/openfile1", "\"/p/two words.jpg\""}});
    startup_saved_settings(false);
    QCOMPARE(preferences().nfilemenu, 10);
    QCOMPARE(preferences().confirm, 2);
    QCOMPARE(preferences().border_width, 4);
    QCOMPARE(preferences().border, (Rgb8{0, 128, 255}));
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/p/one.jpg", "/p/two words.jpg"}));
}

void TestPreferences::the_background_process_neither_sticks_nor_writes() {
    store_values({{"Preferences/stickysettings", "1"}, {"Preferences/border", "7 1 1 1"}});
    startup_saved_settings(true);
    QVERIFY(!preferences().stickysettings);
    QCOMPARE(preferences().border_width, 7);

    saved_state().openfile = {"/p/batch.jpg"};
    preferences().border_width = 30;
    preferences_save();
    state_save();
    QCOMPARE(stored("Preferences/border"), QStringLiteral("7 1 1 1"));
    QVERIFY(!saved_store()->contains(QStringLiteral("State/openfile0")));
}

// The panel from the menu shows what the store holds; OK stores what its
// controls hold, the frame follows at once, and the next start reads it.
void TestPreferences::panel_shows_and_keeps_the_values() {
    store_values({{"Preferences/confirm", "no"},
                  {"Preferences/workspace", "1 0.5 0"},
                  {"Preferences/border", "21 0.2 0.4 0.6"},
                  {"Preferences/previewlocation", "3"},
                  {"Preferences/tempdirectory", "\"/var/tmp/o v\""}});
    startup_saved_settings(false);
    saved_state().openfile = {"/p/1.jpg", "/p/2.jpg", "/p/3.jpg"};
    ScriptedBoxes boxes;
    MainFrame frame;
    frame.show();
    QVERIFY(QTest::qWaitForWindowExposed(&frame));
    QVERIFY(frame.command_action(1102) != nullptr);

    QStringList shown;
    bool stayed = true;
    QTimer::singleShot(0, this, [&] {
        auto* panel = qobject_cast<PreferencesPanel*>(QApplication::activeModalWidget());
        if (panel == nullptr) return;
        const auto rgb = [panel](const char* name) {
            const Rgb8 c = control<ColourButton>(panel, name)->colour();
            return QStringLiteral("%1 %2 %3").arg(c.red).arg(c.green).arg(c.blue);
        };
        const auto index = [panel](const char* name) {
            return QString::number(control<QComboBox>(panel, name)->currentIndex());
        };
        shown = {index("confirm"), rgb("workspace"),
                 control<QSpinBox>(panel, "border_width")->text(), rgb("border"),
                 index("previewlocation"), control<QLineEdit>(panel, "tempdirectory")->text()};
        control<QComboBox>(panel, "confirm")->setCurrentIndex(2);
        control<ColourButton>(panel, "workspace")->set_colour({200, 100, 50});
        control<QSpinBox>(panel, "border_width")->setValue(5);
        control<QSpinBox>(panel, "nfilemenu")->setValue(2);
        control<QLineEdit>(panel, "startupdirectory")->setText(QStringLiteral("/home/me/My Photos"));
        control<QComboBox>(panel, "undo")->setCurrentIndex(0);
        control<QCheckBox>(panel, "stickysettings")->setChecked(false);
        control<QComboBox>(panel, "maxpreviewsize")->setCurrentIndex(2);
        // A resolution that cannot be read is named, and the panel stays until it is put right.
        for (const char* text : {"72 dpi", "0"}) {
            control<QLineEdit>(panel, "defaultres")->setText(QString::fromLatin1(text));
            click_ok(panel);
            stayed = stayed && panel->isVisible() && preferences().border_width == 21;
        }
        control<QLineEdit>(panel, "defaultres")->setText(QStringLiteral("1,200"));
        click_ok(panel);
        if (panel->isVisible()) panel->reject();
    });
    frame.command_action(1010)->trigger();
    QCOMPARE(shown, (QStringList{"0", "255 128 0", "21", "51 102 153", "3", "/var/tmp/o v"}));
    QVERIFY(stayed);
    QCOMPARE(boxes.texts(), QStringList(2, QStringLiteral("Invalid dpi setting")));
    // The frame follows at once: a shorter list, the new workspace colour.
    QVERIFY(frame.command_action(1101) != nullptr);
    QVERIFY(frame.command_action(1102) == nullptr);
    QCOMPARE(saved_state().openfile.size(), size_t{2});
    QCOMPARE(frame.area()->background().color(), QColor(200, 100, 50));
    // The words as the store keeps them.
    QCOMPARE(stored("Preferences/confirm"), QStringLiteral("last"));
    QCOMPARE(stored("Preferences/undo"), QStringLiteral("none"));
    QCOMPARE(stored("Preferences/stickysettings"), QStringLiteral("0"));

    preferences() = Preferences{};
    startup_saved_settings(false);
    const Preferences& p = preferences();
    QCOMPARE(p.confirm, 2);
    QCOMPARE(p.workspace, (Rgb8{200, 100, 50}));
    QCOMPARE(p.border_width, 5);
    QCOMPARE(p.nfilemenu, 2);
    QCOMPARE(p.startupdirectory, std::string("/home/me/My Photos"));
    QCOMPARE(p.defaultres, 1200.0);
    QCOMPARE(p.undo, 0);
    QVERIFY(!p.stickysettings);
    QCOMPARE(p.maxpreviewsize, 2);
    // A percentage is a fraction.
    PreferencesPanel again;
    again.show();
    control<QLineEdit>(&again, "defaultres")->setText(QStringLiteral("50%"));
    click_ok(&again);
    QCOMPARE(preferences().defaultres, 0.5);
}

void TestPreferences::the_end_of_a_run_saves_the_state() {
    ScriptedBoxes boxes;
    MainFrame frame;
    frame.show();
    QVERIFY(QTest::qWaitForWindowExposed(&frame));

    // A veto writes nothing.
    QStringList asked;
    auto* child = new TestChild(QStringLiteral("keeps"), 0, false, &asked);
    frame.area()->addSubWindow(child)->show();
    saved_state().openfile = {"/p/kept.jpg", "/p/older.jpg"};
    saved_state().jpegquality[0] = 85;
    QVERIFY(!frame_close_sequence());
    QVERIFY(saved_store()->allKeys().isEmpty());

    frame.area()->closeAllSubWindows();
    delete child;
    QVERIFY(frame_close_sequence());
    QCOMPARE(stored("State/version"), QStringLiteral("6010"));
    QVERIFY(saved_store()->contains(QStringLiteral("Preferences/nfilemenu")));

    saved_state() = State{};
    startup_saved_settings(false);
    QCOMPARE(saved_state().openfile, (std::vector<std::string>{"/p/kept.jpg", "/p/older.jpg"}));
    QCOMPARE(saved_state().jpegquality[0], 85);
    QCOMPARE(saved_state().version, 6010);
}

void TestPreferences::session_log_start() {
    ScriptedBoxes boxes;
    startup_session_log(QStringLiteral("a.jpg b.jpg"));
    QVERIFY(boxes.calls.empty());

    startup_session_log(QStringLiteral("a.jpg"), opener_failing_with_5);
    QCOMPARE(boxes.calls.size(), size_t{1});
    QCOMPARE(boxes.calls[0].text,
             QStringLiteral("Error 5: Creating status_log.txt file failed. Status messages "
                            "will not be logged."));
    QCOMPARE(boxes.calls[0].kind, box_ok);
}

void TestPreferences::shift_is_read_from_the_keyboard() {
    startup_settings_hooks();
    QWidget window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(!settings_shift_down());
    QTest::keyPress(window.windowHandle(), Qt::Key_Shift, Qt::ShiftModifier);
    const bool held = settings_shift_down();
    QTest::keyRelease(window.windowHandle(), Qt::Key_Shift, Qt::NoModifier);
    QVERIFY(held);
    QVERIFY(!settings_shift_down());
}

QTEST_MAIN(TestPreferences)
#include "tst_preferences.moc"
