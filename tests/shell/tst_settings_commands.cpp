// The settings file commands of a panel, with a format of the tests' own and
// file dialogs answered by a script.
#include "core/errors.h"
#include "shell/settings_file_commands.h"
#include "shell/shell_error_reporter.h"
#include "shell/startup.h"
#include "shell_test_support.h"

#include <QAction>
#include <QMenu>

#include <tuple>

namespace {

struct Knobs {
    double radius = 1.5;
    int low = 10;
    int high = 20;
};

constexpr SettingsKeyword<Knobs> knob_rows[] = {
    settings_value<&Knobs::radius>("radius %4f"),
    settings_value<&Knobs::low, &Knobs::high>("range %d %d"),
};

constexpr SettingsFormat<Knobs> knob_format{
    {"KnobSettings 1.0", ".kn", "Load Knob Settings", "Save Knob Settings", "Knob Files",
     "knob files must have an extension of .kn", 31},
    knob_rows};

// Answers file dialogs from a script and records what each was asked.
class ScriptedDialogs {
public:
    explicit ScriptedDialogs(std::deque<QString> answers) : answers_(std::move(answers)) {
        before_ = settings_file_set_chooser([this](const SettingsDialogRequest& request) {
            requests.push_back(request);
            if (answers_.empty()) return QString();
            const QString answer = answers_.front();
            answers_.pop_front();
            return answer;
        });
    }
    ~ScriptedDialogs() { settings_file_set_chooser(std::move(before_)); }
    ScriptedDialogs(const ScriptedDialogs&) = delete;
    ScriptedDialogs& operator=(const ScriptedDialogs&) = delete;

    std::vector<SettingsDialogRequest> requests;

private:
    std::deque<QString> answers_;
    SettingsFileChooser before_;
};

}  // namespace

class TestSettingsCommands : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    // First: the first dialog of the run starts in the settings folder.
    void save_checks_the_extension();
    void load_reads_and_rebuilds();
    void menu_entries_and_reset();

private:
    Knobs knobs_;
    int changes_ = 0;
    std::unique_ptr<SettingsFileCommands> commands_;
    QTemporaryDir dir_;
};

void TestSettingsCommands::init() {
    shell_error_reporter_install();
    startup_settings_hooks();
    knobs_ = Knobs{};
    changes_ = 0;
    commands_ = std::make_unique<SettingsFileCommands>(nullptr, knob_format, knobs_,
                                                       [this] { ++changes_; });
}

void TestSettingsCommands::cleanup() {
    commands_.reset();
}

void TestSettingsCommands::save_checks_the_extension() {
    ScriptedBoxes boxes;
    knobs_ = Knobs{2.25, 3, 250};
    const QString wrong = dir_.filePath(QStringLiteral("mine.txt"));
    const QString chosen = dir_.filePath(QStringLiteral("mine"));
    {
        // A wrong extension is refused and asked again, offering the refused name.
        ScriptedDialogs dialogs({wrong, chosen});
        QCOMPARE(commands_->save_as(), 0);
        QCOMPARE(dialogs.requests.size(), size_t{2});
        QVERIFY(dialogs.requests[0].save);
        QCOMPARE(dialogs.requests[0].title, QStringLiteral("Save Knob Settings"));
        QCOMPARE(dialogs.requests[0].filter, QStringLiteral("Knob Files (*.kn)"));
        QCOMPARE(dialogs.requests[0].start, test_store.folder());
        QCOMPARE(dialogs.requests[1].start, wrong);
    }
    QCOMPARE(boxes.texts(), QStringList{"knob files must have an extension of .kn"});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
    QVERIFY(!QFile::exists(wrong));
    // A name without it gets it.
    QCOMPARE(file_bytes(chosen + QStringLiteral(".kn")),
             QByteArray("KnobSettings 1.0\r\nradius 2.2500\r\nrange 3 250\r\nend\r\n"));
    QVERIFY(!QFile::exists(chosen));

    // The check ignores case, and a name with the extension keeps it as typed;
    // the next dialog starts where the last file went.
    const QString upper = QDir(dir_.filePath("sub")).filePath(QStringLiteral("other.KN"));
    QVERIFY(QDir().mkpath(dir_.filePath("sub")));
    {
        ScriptedDialogs dialogs({upper});
        QCOMPARE(commands_->save_as(), 0);
        QCOMPARE(dialogs.requests.at(0).start, dir_.path());
    }
    QVERIFY(file_bytes(upper).startsWith("KnobSettings 1.0\r\n"));
    QVERIFY(!QFile::exists(upper + QStringLiteral(".kn")));

    // Cancel, also after a refusal, writes and changes nothing.
    ScriptedDialogs dialogs({dir_.filePath(QStringLiteral("x.bad"))});
    QCOMPARE(commands_->save_as(), err_aborted);
    QCOMPARE(commands_->load(), err_aborted);
    QCOMPARE(dialogs.requests.size(), size_t{3});
    QCOMPARE(dialogs.requests[2].start, dir_.filePath("sub"));
    QCOMPARE(boxes.calls.size(), size_t{2});
    QCOMPARE(changes_, 0);
}

// A good file is read whatever the case of its header and the order of its
// keywords; a bad one keeps what came before the unknown keyword and reports
// the format's own code; a missing one "File not found".
void TestSettingsCommands::load_reads_and_rebuilds() {
    ScriptedBoxes boxes;
    const QString good = dir_.filePath(QStringLiteral("good.kn"));
    const QString bad = dir_.filePath(QStringLiteral("bad.kn"));
    QVERIFY(write_file(good, "knobsettings 1.0\r\nrange 7 8\r\n\r\nradius 0.5\r\nend\r\n"));
    QVERIFY(write_file(bad, "KnobSettings 1.0\r\nrange 3 4\r\nwobble 3\r\nradius 9\r\nend\r\n"));
    ScriptedDialogs dialogs({good, bad, dir_.filePath(QStringLiteral("missing.kn"))});
    QCOMPARE(commands_->load(), 0);
    QCOMPARE(dialogs.requests.at(0).title, QStringLiteral("Load Knob Settings"));
    QCOMPARE(std::tuple(knobs_.radius, knobs_.low, knobs_.high), std::tuple(0.5, 7, 8));
    QCOMPARE(changes_, 1);
    QVERIFY(boxes.calls.empty());

    QCOMPARE(commands_->load(), 31);
    QCOMPARE(boxes.texts(), QStringList{"Illegal color balance file"});
    QCOMPARE(boxes.calls[0].caption, QStringLiteral("Error"));
    QCOMPARE(std::tuple(knobs_.radius, knobs_.low, knobs_.high), std::tuple(0.5, 3, 4));
    QCOMPARE(changes_, 2);
    QCOMPARE(commands_->load(), 4);
    QCOMPARE(boxes.calls.size(), size_t{2});
}

void TestSettingsCommands::menu_entries_and_reset() {
    QMenu options;
    commands_->add_to_menu(&options);
    knobs_ = Knobs{9.0, 99, 2};
    options.actions()[2]->trigger();
    QCOMPARE(knobs_.radius, 1.5);
    QCOMPARE(knobs_.low, 10);
    QCOMPARE(knobs_.high, 20);
    QCOMPARE(changes_, 1);
    ScriptedDialogs dialogs({});
    options.actions()[0]->trigger();
    options.actions()[1]->trigger();
    QCOMPARE(dialogs.requests.size(), size_t{2});
    QVERIFY(dialogs.requests[0].save && !dialogs.requests[1].save);
}

QTEST_MAIN(TestSettingsCommands)
#include "tst_settings_commands.moc"
