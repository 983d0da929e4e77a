// The command line's file list rule and its special starts, and a second start
// handing its command line to the first over the per-user socket.
#include "shell/command_line.h"
#include "shell/single_instance.h"
#include "shell_test_support.h"

#include <QSignalSpy>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

namespace {

// A name no other test run or real instance uses.
QString test_name(const char* what) {
    return QStringLiteral("orvane-test-%1-%2").arg(QCoreApplication::applicationPid()).arg(what);
}

const QString long_name = QStringLiteral("/") + QString(299, QLatin1Char('n')) + ".jpg";
const QString exact = QString(256, QLatin1Char('e')) + ".jpg";

}  // namespace

class TestCommandLine : public QObject {
    Q_OBJECT
private slots:
    void file_names_data();
    void file_names();
    void batch_start();
    void hand_over_opens_the_files_in_the_first();
    void a_dead_or_taken_name();
};

void TestCommandLine::file_names_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("files");

    QTest::newRow("blank before the extension")
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
    QTest::newRow("only blanks") << "    " << QStringList{};
    QTest::newRow("cut at 260") << long_name + " next.jpg" << QStringList{long_name.left(260), "next.jpg"};
    QTest::newRow("260 exactly") << "\"" + exact + "\"" << QStringList{exact};
    QTest::newRow("embedding") << " -Embedding " << QStringList{};
    QTest::newRow("a file named so") << "-Embedding.jpg" << QStringList{"-Embedding.jpg"};
    QTest::newRow("batch only at the start") << "a.jpg -?batch12" << QStringList{"a.jpg", "-?batch12"};
    // The shell split an unquoted "my photo.jpg"; a quoted name whose blank
    // follows a dot must survive the join.
    QTest::newRow("joined split name") << command_line_join({"/home/me/my", "photo.jpg", "b.png"})
                                       << QStringList{"/home/me/my photo.jpg", "b.png"};
    QTest::newRow("joined quoted name") << command_line_join({"/p/dir.d/my photo.jpg", "/p/x.tif"})
                                        << QStringList{"/p/dir.d/my photo.jpg", "/p/x.tif"};
}

void TestCommandLine::file_names() {
    QFETCH(QString, line);
    QFETCH(QStringList, files);
    QCOMPARE(command_line_parse(line).files, files);
    QVERIFY(!command_line_parse(line).batch);
}

void TestCommandLine::batch_start() {
    CommandLine command = command_line_parse("-?batch7f3a5c10");
    QVERIFY(command.batch);
    QCOMPARE(command.batch_channel, QStringLiteral("7f3a5c10"));
    QVERIFY(command.batch_rest.isEmpty());

    command = command_line_parse(command_line_join({"-?batchorvane-wfl-12", "3", "x.jpg"}));
    QVERIFY(command.batch);
    QCOMPARE(command.batch_channel, QStringLiteral("orvane-wfl-12"));
    QCOMPARE(command.batch_rest, QStringLiteral("3 x.jpg"));
    QVERIFY(command.files.isEmpty());
}

void TestCommandLine::hand_over_opens_the_files_in_the_first() {
    app_state_reset();
    MainFrame frame;
    frame.show();
    frame.showMinimized();
    InstanceServer server;
    QVERIFY(server.listen(test_name("frame")));
    frame.serve_hand_overs(&server);
    QSignalSpy opened(&server, &InstanceServer::open_requested);
    OpenRecorder files;

    // As the second start sees its arguments after the shell split them.
    QCOMPARE(hand_over_to_running(test_name("frame"),
                                  command_line_join({"/p/my", "a.jpg", "/p/d.d/b c.jpg", "/p/c.jpg"})),
             std::optional<int>(0));
    QTRY_COMPARE(files.opened, (QStringList{"/p/my a.jpg", "/p/d.d/b c.jpg", "/p/c.jpg"}));
    QTRY_VERIFY(!frame.isMinimized());
    QVERIFY(frame.isVisible());

    // No files only raises; two starts in a row are two requests.
    frame.showMinimized();
    QCOMPARE(hand_over_to_running(test_name("frame"), QString()), std::optional<int>(0));
    QTRY_VERIFY(!frame.isMinimized());
    QCOMPARE(opened.size(), 1);
    QCOMPARE(files.opened.size(), 3);
    app_state_reset();
}

void TestCommandLine::a_dead_or_taken_name() {
    QVERIFY(!hand_over_to_running(test_name("nobody"), QStringLiteral("a.jpg")).has_value());

    // What a crashed instance leaves: a socket file nobody listens on.
    const QString name = test_name("dead");
    const QByteArray path = QDir(QDir::tempPath()).filePath(name).toLocal8Bit();
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QVERIFY(fd >= 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    QVERIFY(static_cast<size_t>(path.size()) < sizeof(address.sun_path));
    std::memcpy(address.sun_path, path.constData(), static_cast<size_t>(path.size()));
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ::close(fd);
    QVERIFY(QFile::exists(QString::fromLocal8Bit(path)));
    QVERIFY(!hand_over_to_running(name, QString()).has_value());

    // It is taken over; a second server then cannot take the name, and the first still serves.
    InstanceServer server;
    QVERIFY(server.listen(name));
    InstanceServer second;
    QVERIFY(!second.listen(name));
    QSignalSpy raised(&server, &InstanceServer::raise_requested);
    QCOMPARE(hand_over_to_running(name, QString()), std::optional<int>(0));
    QTRY_COMPARE(raised.size(), 1);
}

QTEST_MAIN(TestCommandLine)
#include "tst_command_line.moc"
