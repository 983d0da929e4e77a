// The command line's file list rule and its special starts.
#include "shell/command_line.h"

#include <QTest>

class TestCommandLine : public QObject {
    Q_OBJECT
private slots:
    void file_names_data();
    void file_names();
    void joined_arguments_come_back_whole();
    void names_are_cut_at_260();
    void embedding_is_an_empty_list();
    void batch_start();
};

void TestCommandLine::file_names_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("files");

    QTest::newRow("one") << "photo.jpg" << QStringList{"photo.jpg"};
    QTest::newRow("several") << "a.jpg b.tif  c.png" << QStringList{"a.jpg", "b.tif", "c.png"};
    QTest::newRow("blank before the extension")
        << "/home/me/my photo.jpg" << QStringList{"/home/me/my photo.jpg"};
    QTest::newRow("two blanks before the extension")
        << "/p/old holiday snap.tif next.jpg" << QStringList{"/p/old holiday snap.tif", "next.jpg"};
    QTest::newRow("blank after a dot ends the name")
        << "/p/dir.d/my photo.jpg" << QStringList{"/p/dir.d/my", "photo.jpg"};
    QTest::newRow("quotes protect blanks")
        << "\"/p/dir.d/my photo.jpg\" x.png" << QStringList{"/p/dir.d/my photo.jpg", "x.png"};
    QTest::newRow("quotes in the middle of a name")
        << "/p/a.b/\"c d\".jpg e.jpg" << QStringList{"/p/a.b/c d.jpg", "e.jpg"};
    QTest::newRow("leading and trailing blanks") << "   a.jpg   " << QStringList{"a.jpg"};
    QTest::newRow("trailing blanks of a name without a dot") << "README  " << QStringList{"README"};
    QTest::newRow("quoted trailing blank stays") << "\"a.jpg \"" << QStringList{"a.jpg "};
    QTest::newRow("empty") << "" << QStringList{};
    QTest::newRow("only blanks") << "    " << QStringList{};
}

void TestCommandLine::file_names() {
    QFETCH(QString, line);
    QFETCH(QStringList, files);
    QCOMPARE(command_line_files(line), files);
    QCOMPARE(command_line_parse(line).files, files);
    QVERIFY(!command_line_parse(line).batch);
}

void TestCommandLine::joined_arguments_come_back_whole() {
    // The shell split an unquoted "my photo.jpg" into two arguments.
    QCOMPARE(command_line_files(command_line_join({"/home/me/my", "photo.jpg", "b.png"})),
             (QStringList{"/home/me/my photo.jpg", "b.png"}));
    // The user quoted a name whose blank follows a dot: it must survive the join.
    const QStringList quoted{"/p/dir.d/my photo.jpg", "/p/x.tif"};
    QCOMPARE(command_line_files(command_line_join(quoted)), quoted);
    QCOMPARE(command_line_join({}), QString());
}

void TestCommandLine::names_are_cut_at_260() {
    const QString long_name = QStringLiteral("/") + QString(299, QLatin1Char('n')) + ".jpg";
    const QStringList files = command_line_files(long_name + " next.jpg");
    QCOMPARE(files.size(), 2);
    QCOMPARE(files[0].size(), 260);
    QVERIFY(long_name.startsWith(files[0]));
    QCOMPARE(files[1], QStringLiteral("next.jpg"));

    const QString exact = QString(256, QLatin1Char('e')) + ".jpg";
    QCOMPARE(command_line_files("\"" + exact + "\""), QStringList{exact});
}

void TestCommandLine::embedding_is_an_empty_list() {
    for (const QString& line : {QStringLiteral("-Embedding"), QStringLiteral("-embedding"),
                                QStringLiteral(" -Embedding ")}) {
        const CommandLine command = command_line_parse(line);
        QVERIFY2(command.files.isEmpty(), qPrintable(line));
        QVERIFY(!command.batch);
    }
    // Only the argument itself: a file whose name begins so is still a file.
    QCOMPARE(command_line_parse("-Embedding.jpg").files, QStringList{"-Embedding.jpg"});
}

void TestCommandLine::batch_start() {
    CommandLine command = command_line_parse("-?batch7f3a5c10");
    QVERIFY(command.batch);
    QCOMPARE(command.batch_channel, QStringLiteral("7f3a5c10"));
    QVERIFY(command.batch_rest.isEmpty());
    QVERIFY(command.files.isEmpty());

    command = command_line_parse(command_line_join({"-?batchorvane-wfl-12", "3", "x.jpg"}));
    QVERIFY(command.batch);
    QCOMPARE(command.batch_channel, QStringLiteral("orvane-wfl-12"));
    QCOMPARE(command.batch_rest, QStringLiteral("3 x.jpg"));
    QVERIFY(command.files.isEmpty());

    // Only at the start of the line.
    command = command_line_parse("a.jpg -?batch12");
    QVERIFY(!command.batch);
    QCOMPARE(command.files, (QStringList{"a.jpg", "-?batch12"}));
}

QTEST_APPLESS_MAIN(TestCommandLine)
#include "tst_command_line.moc"
