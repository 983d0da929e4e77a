// A second start hands its command line to the first over the per-user socket.
#include "shell/command_line.h"
#include "shell/main_frame.h"
#include "shell/single_instance.h"
#include "shell_test_support.h"

#include <QDir>
#include <QLocalServer>
#include <QSignalSpy>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>

namespace {

// A name no other test run or real instance uses.
QString test_name(const char* what) {
    return QStringLiteral("orvane-test-%1-%2").arg(QCoreApplication::applicationPid()).arg(what);
}

}  // namespace

class TestHandover : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void name_is_per_user();
    void three_files_reach_the_first();
    void no_files_only_raises();
    void no_instance_means_run_alone();
    void a_second_server_cannot_take_the_name();
    void a_dead_instance_socket_is_taken_over();
    void frame_opens_what_is_handed_over();
};

void TestHandover::init() {
    app_state_reset();
}

void TestHandover::cleanup() {
    app_state_reset();
}

void TestHandover::name_is_per_user() {
    QCOMPARE(instance_server_name(), QStringLiteral("orvane-%1").arg(getuid()));
}

void TestHandover::three_files_reach_the_first() {
    InstanceServer server;
    QVERIFY(server.listen(test_name("three")));
    QSignalSpy opened(&server, &InstanceServer::open_requested);
    QSignalSpy raised(&server, &InstanceServer::raise_requested);

    // As the second start sees its arguments after the shell split them.
    const QString line =
        command_line_join({"/pics/my", "holiday.jpg", "/pics/dir.d/b c.tif", "/pics/d.png"});
    const std::optional<int> exit_code = hand_over_to_running(test_name("three"), line);
    QVERIFY(exit_code.has_value());
    QCOMPARE(*exit_code, 0);

    QTRY_COMPARE(raised.size(), 1);
    QCOMPARE(opened.size(), 1);
    QCOMPARE(command_line_files(opened[0][0].toString()),
             (QStringList{"/pics/my holiday.jpg", "/pics/dir.d/b c.tif", "/pics/d.png"}));
}

void TestHandover::no_files_only_raises() {
    InstanceServer server;
    QVERIFY(server.listen(test_name("raise")));
    QSignalSpy opened(&server, &InstanceServer::open_requested);
    QSignalSpy raised(&server, &InstanceServer::raise_requested);
    QCOMPARE(hand_over_to_running(test_name("raise"), QString()), std::optional<int>(0));
    QTRY_COMPARE(raised.size(), 1);
    QCOMPARE(opened.size(), 0);

    // Two starts in a row are two requests.
    QCOMPARE(hand_over_to_running(test_name("raise"), QStringLiteral("x.jpg")),
             std::optional<int>(0));
    QTRY_COMPARE(raised.size(), 2);
    QCOMPARE(opened.size(), 1);
}

void TestHandover::no_instance_means_run_alone() {
    QVERIFY(!hand_over_to_running(test_name("nobody"), QStringLiteral("a.jpg")).has_value());
}

void TestHandover::a_second_server_cannot_take_the_name() {
    InstanceServer first;
    QVERIFY(first.listen(test_name("taken")));
    InstanceServer second;
    QVERIFY(!second.listen(test_name("taken")));
    // The first still serves.
    QSignalSpy raised(&first, &InstanceServer::raise_requested);
    QCOMPARE(hand_over_to_running(test_name("taken"), QString()), std::optional<int>(0));
    QTRY_COMPARE(raised.size(), 1);
}

void TestHandover::a_dead_instance_socket_is_taken_over() {
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
    InstanceServer server;
    QVERIFY(server.listen(name));
    QSignalSpy raised(&server, &InstanceServer::raise_requested);
    QCOMPARE(hand_over_to_running(name, QString()), std::optional<int>(0));
    QTRY_COMPARE(raised.size(), 1);
}

void TestHandover::frame_opens_what_is_handed_over() {
    MainFrame frame;
    frame.show();
    frame.showMinimized();
    InstanceServer server;
    QVERIFY(server.listen(test_name("frame")));
    frame.serve_hand_overs(&server);
    OpenRecorder files;

    QCOMPARE(hand_over_to_running(test_name("frame"),
                                  command_line_join({"/p/a.jpg", "/p/b.jpg", "/p/c.jpg"})),
             std::optional<int>(0));
    QTRY_COMPARE(files.opened, (QStringList{"/p/a.jpg", "/p/b.jpg", "/p/c.jpg"}));
    QTRY_VERIFY(!frame.isMinimized());
    QVERIFY(frame.isVisible());
}

QTEST_MAIN(TestHandover)
#include "tst_handover.moc"
