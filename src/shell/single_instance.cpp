#include "shell/single_instance.h"

#include <QDataStream>
#include <QLocalServer>
#include <QLocalSocket>

#include <unistd.h>

namespace {

constexpr int connect_timeout_ms = 1000;
constexpr int write_timeout_ms = 3000;

// One message: the command line as a length-framed string.
constexpr QDataStream::Version stream_version = QDataStream::Qt_6_0;

bool instance_answers(const QString& name) {
    QLocalSocket probe;
    probe.connectToServer(name);
    return probe.waitForConnected(connect_timeout_ms);
}

}  // namespace

QString instance_server_name() {
    return QStringLiteral("orvane-%1").arg(static_cast<qulonglong>(getuid()));
}

InstanceServer::InstanceServer(QObject* parent) : QObject(parent), server_(new QLocalServer(this)) {
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    connect(server_, &QLocalServer::newConnection, this, &InstanceServer::accept_connections);
}

InstanceServer::~InstanceServer() = default;

bool InstanceServer::listen(const QString& name) {
    // Listening with access options replaces whatever socket file has the name,
    // so a live instance must be looked for first.
    if (instance_answers(name)) return false;
    if (server_->listen(name)) return true;
    if (server_->serverError() != QAbstractSocket::AddressInUseError) return false;
    // A socket left behind by an instance that ended without removing it.
    QLocalServer::removeServer(name);
    return server_->listen(name);
}

void InstanceServer::accept_connections() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        auto read_message = [this, socket] {
            QDataStream stream(socket);
            stream.setVersion(stream_version);
            stream.startTransaction();
            QString line;
            stream >> line;
            if (!stream.commitTransaction()) return;  // wait for the rest
            socket->disconnect(this);
            socket->disconnectFromServer();
            if (!line.isEmpty()) emit open_requested(line);
            emit raise_requested();
        };
        connect(socket, &QLocalSocket::readyRead, this, read_message);
        if (socket->bytesAvailable() > 0) read_message();
    }
}

std::optional<int> hand_over_to_running(const QString& name, const QString& line) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(connect_timeout_ms)) return std::nullopt;

    QByteArray message;
    QDataStream stream(&message, QIODevice::WriteOnly);
    stream.setVersion(stream_version);
    stream << line;
    socket.write(message);
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(write_timeout_ms)) break;
    }
    socket.disconnectFromServer();
    return 0;
}
