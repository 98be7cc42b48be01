#pragma once

#include <memory>
#include <vector>

#include <QHostAddress>
#include <QObject>
#include <QString>

class QTcpSocket;

namespace quillvane {

// Plain TCP connections that never send a byte, held the way a hostile device on the same
// network would hold them: `count` connections from one local address, each reopened the moment
// it ends. The host's tests and benchmarks use them to check that such squatters cannot keep the
// phone out. Lives on the thread it was made on; start() and stop() run there.
class ConnectionSquatters : public QObject {
    Q_OBJECT

public:
    ConnectionSquatters(QHostAddress local, int count, QString host, quint16 port,
                        QObject* parent = nullptr);
    ~ConnectionSquatters() override;

    void start();
    void stop();
    // How many times the host ended one of them (each was reopened at once while running).
    int ended() const { return m_ended; }

private:
    void open(QTcpSocket& socket);

    QHostAddress m_local;
    int m_count;
    QString m_host;
    quint16 m_port;
    bool m_running = false;
    int m_ended = 0;
    std::vector<std::unique_ptr<QTcpSocket>> m_sockets;
};

} // namespace quillvane
