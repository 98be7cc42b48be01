#include "ConnectionSquatters.h"

#include <utility>

#include <QTcpSocket>
#include <QTimer>

namespace quillvane {

ConnectionSquatters::ConnectionSquatters(QHostAddress local, int count, QString host,
                                         quint16 port, QObject* parent)
    : QObject(parent), m_local(std::move(local)), m_count(count), m_host(std::move(host)),
      m_port(port) {}

ConnectionSquatters::~ConnectionSquatters() { stop(); }

void ConnectionSquatters::start() {
    if (m_running)
        return;
    m_running = true;
    for (int i = 0; i < m_count; ++i) {
        auto socket = std::make_unique<QTcpSocket>();
        QTcpSocket* raw = socket.get();
        connect(raw, &QAbstractSocket::stateChanged, this, [this, raw](auto state) {
            if (state != QAbstractSocket::UnconnectedState || !m_running)
                return;
            ++m_ended;
            // Not from inside the socket's own signal, which is still unwinding; tied to the
            // socket, so nothing runs once stop() has released it.
            QTimer::singleShot(0, raw, [this, raw] {
                if (m_running)
                    open(*raw);
            });
        });
        m_sockets.push_back(std::move(socket));
        open(*raw);
    }
}

void ConnectionSquatters::stop() {
    m_running = false;
    for (auto& socket : m_sockets)
        socket->abort();
    m_sockets.clear();
}

void ConnectionSquatters::open(QTcpSocket& socket) {
    socket.abort();
    socket.bind(m_local);
    socket.connectToHost(m_host, m_port);
}

} // namespace quillvane
