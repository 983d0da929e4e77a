// The windows of a picture's comments: Image Properties with its exposure,
// GPS and user comment groups and the map link; User Comments; File Comments.
#include "core/comments.h"
#include "core/preferences.h"
#include "shell/command_dispatch.h"
#include "shell/comment_windows.h"
#include "shell/info_panel.h"
#include "shell/new_image_panel.h"
#include "shell_test_support.h"

#include <QClipboard>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>

#include <cstring>

namespace {

template <typename T>
void add(CommentList* list, std::uint32_t code, std::initializer_list<T> values) {
    std::vector<std::uint8_t> b(sizeof(T) * values.size());
    std::memcpy(b.data(), std::data(values), b.size());
    QCOMPARE(CommentAdd(list, code, b.size(), b.data()), 0);
}

}  // namespace

class TestCommentWindows : public FrameTest {
    Q_OBJECT
private slots:
    void properties_show_exposure_and_position();
    void user_comments_store_on_ok_only();
    void file_comments_list_every_comment();

private:
    ImageWindow* window_with_comments() {
        ImageHolder picture;
        fill_noise(picture.get(), image_type_colour8, 40, 30, 3, 100.0);
        ImageWindow* window = show_picture(area(), picture.get());
        if (!window) return nullptr;
        CommentList* list = &window->record()->comments;
        add<std::uint32_t>(list, 34, {1, 400});
        add<std::uint32_t>(list, 35, {56, 10});
        add<std::uint16_t>(list, 162, {640});
        add<std::uint32_t>(list, 33, {50, 1});
        add<std::uint16_t>(list, 232, {75});
        add<std::uint16_t>(list, 32, {7});
        add<std::uint16_t>(list, 30, {255});
        add<std::uint32_t>(list, 43, {45, 1, 30, 1, 0, 1});
        add<std::uint32_t>(list, 45, {7, 1, 15, 1, 0, 1});
        add<std::uint32_t>(list, 47, {1234, 10});
        add<std::uint8_t>(list, 46, {1});  // below sea level
        (void)CommentSetText(list, 42, "N");
        (void)CommentSetText(list, 44, "W");
        (void)CommentSetText(list, 0, "Ann");
        (void)CommentSetText(list, 192,
                             "alpha\x01"
                             "beta");
        return window;
    }
};

void TestCommentWindows::properties_show_exposure_and_position() {
    ImageWindow* window = window_with_comments();
    QVERIFY(window != nullptr);
    saved_state().comments_mapurl = "https://maps.example/?q=%LatLong%&mark=%LatLong%";
    InfoPanel panel(window);
    const struct {
        const char* label;
        const char* text;
    } rows[] = {
        {"Shutter: ", "1/400 sec"},
        {"F stop: ", "f/5.6"},
        {"ISO: ", "640"},
        {"FL: ", "50 mm (35mm equiv. 75 mm)"},
        {"Flash: ", "Yes (Strobe light detected) "},
        {"Meter: ", "Umdefined"},
        {"Lat/Long:", "45.5N,7.25W"},
        {"Altitude:", "-404.9 feet"},
        {"Artist:", "Ann"},
        {"Keywords:", "alpha; beta"},
    };
    for (const auto& r : rows)
        QCOMPARE(panel.row_text(QString::fromLatin1(r.label)), QString::fromLatin1(r.text));
    QCOMPARE(panel.map_link(),
             QStringLiteral("https://maps.example/?q=45.5N,7.25W&mark=45.5N,7.25W"));
    const QList<QAction*> actions = panel.map_button()->menu()->actions();
    QCOMPARE(actions.size(), 3);
    actions[1]->trigger();  // "Copy to clipboard"
    QCOMPARE(QApplication::clipboard()->text(), panel.map_link());

    preferences().defaultunits = units_centimetres;
    InfoPanel metric(window);
    QCOMPARE(metric.row_text(QStringLiteral("Altitude:")), QStringLiteral("-123.4 meters"));

    // Set Map URL: the macro goes in at the caret, and OK keeps the template.
    MapUrlPanel map;
    map.url()->setText(QStringLiteral("https://m/?ll="));
    for (QPushButton* button : map.findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("Insert Macro")) button->click();
    map.accept();
    QCOMPARE(saved_state().comments_mapurl, std::string("https://m/?ll=%LatLong%"));
}

void TestCommentWindows::user_comments_store_on_ok_only() {
    saved_state().comments_artist = "Default Artist";
    ImageHolder picture;
    fill_noise(picture.get(), image_type_gray8, 20, 20, 1, 100.0);
    ImageWindow* window = show_picture(area(), picture.get());
    QVERIFY(window != nullptr);
    CommentList& comments = window->record()->comments;
    {
        UserCommentsPanel panel(window);
        // A new file starts with the default artist.
        QCOMPARE(panel.field(0)->text(), QStringLiteral("Default Artist"));
        panel.field(192)->setText(QStringLiteral("sea; ; sky "));
        panel.reject();
    }
    QVERIFY(comments.items.empty());
    {
        UserCommentsPanel panel(window);
        panel.field(192)->setText(QStringLiteral("sea; ; sky "));
        panel.field(213)->setText(QStringLiteral("Turin"));
        panel.accept();
    }
    QCOMPARE(std::string(CommentFind(comments, 192)->text()), std::string("sea\x01sky"));
    QCOMPARE(std::string(CommentFind(comments, 213)->text()), std::string("Turin"));
    QCOMPARE(std::string(CommentFind(comments, 0)->text()), std::string("Default Artist"));
    QCOMPARE(window->modified, 1);
}

void TestCommentWindows::file_comments_list_every_comment() {
    FileCommentsPanel none(nullptr);
    QCOMPARE(none.lines(), QStringList{QStringLiteral("No window specified")});
    ImageWindow* window = window_with_comments();
    QVERIFY(window != nullptr);
    QCOMPARE(command_dispatch(nullptr, 3022), CommandResult::done);
    FileCommentsPanel* shown = nullptr;
    for (QWidget* top : QApplication::topLevelWidgets())
        if (auto* p = qobject_cast<FileCommentsPanel*>(top); p && p->isVisible()) shown = p;
    QVERIFY(shown != nullptr);
    const QStringList lines = shown->lines();
    QVERIFY(lines.contains(QStringLiteral("Exposure (sec): 0.002500")));
    QVERIFY(lines.contains(QStringLiteral("Film Speed (ISO): 640")));
    const qsizetype at = lines.indexOf(QStringLiteral("Keywords: \"alpha\""));
    QVERIFY(at >= 0);
    QCOMPARE(lines.value(at + 1), QStringLiteral("    \"beta\""));
    shown->close();
}

QTEST_MAIN(TestCommentWindows)
#include "tst_comment_windows.moc"
