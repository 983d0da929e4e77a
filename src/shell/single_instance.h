// One editor per user: the first start listens on a local socket named for the
// user, and a later normal start hands its command line over and exits.
#pragma once

#include <QObject>
#include <QString>

#include <optional>

class QLocalServer;

// The socket's name for the current user.
QString instance_server_name();

// The first instance's end: receives command lines from later starts.
class InstanceServer : public QObject {
    Q_OBJECT
public:
    explicit InstanceServer(QObject* parent = nullptr);
    ~InstanceServer() override;

    // Listens on `name`, taking over a socket left behind by an instance that
    // is gone. False when another instance answers there or listening fails.
    [[nodiscard]] bool listen(const QString& name);

signals:
    // A later start gave files: open them as a command line.
    void open_requested(const QString& line);
    // A later start was made: come to the front (after opening, if files came).
    void raise_requested();

private:
    void accept_connections();
    QLocalServer* server_;
};

// A normal start's check for a running instance. When one answers on `name`,
// sends it `line` (empty: only come to the front) and returns the exit code for
// this process, 0; returns nothing when no instance runs.
std::optional<int> hand_over_to_running(const QString& name, const QString& line);
