#include "LinkListener.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include <QLoggingCategory>
#include <QSslSocket>
#include <QTimer>
#include <sys/socket.h>
#include <unistd.h>

namespace quillvane {

namespace {
Q_LOGGING_CATEGORY(lcListener, "app.quillvane.LinkListener")

constexpr std::chrono::milliseconds kRetryDelay{100};
} // namespace

LinkListener::LinkListener(SecureLink::Parameters parameters,
                           std::chrono::milliseconds readyDeadline, QObject* parent)
    : QTcpServer(parent), m_parameters(std::move(parameters)), m_readyDeadline(readyDeadline) {
    setListenBacklogSize(kBacklog);
}

bool LinkListener::listen(const QHostAddress& address, quint16 port) {
    if (!QTcpServer::listen(address, port))
        return false;
    pauseAccepting();
    m_acceptNotifier =
        std::make_unique<QSocketNotifier>(socketDescriptor(), QSocketNotifier::Read);
    connect(m_acceptNotifier.get(), &QSocketNotifier::activated, this, &LinkListener::acceptSome);
    return true;
}

void LinkListener::acceptSome() {
    for (int i = 0; i < kAcceptsPerTurn; ++i) {
        const int descriptor = ::accept4(static_cast<int>(socketDescriptor()), nullptr, nullptr,
                                         SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor >= 0) {
            incomingConnection(descriptor);
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            // Out of descriptors or memory: the queue stays readable, so wait a moment rather
            // than spin on it.
            qCWarning(lcListener, "Accepting failed: %s", std::strerror(errno));
            m_acceptNotifier->setEnabled(false);
            QTimer::singleShot(kRetryDelay, m_acceptNotifier.get(),
                               [notifier = m_acceptNotifier.get()] { notifier->setEnabled(true); });
        }
        return;
    }
}

SecureLink* LinkListener::wrap(qintptr descriptor, QObject* parent) const {
    auto socket = std::make_unique<QSslSocket>();
    if (!socket->setSocketDescriptor(descriptor)) {
        qCWarning(lcListener).noquote() << "Refused connection:" << socket->errorString();
        refuse(descriptor);
        return nullptr;
    }
    return new SecureLink(std::move(socket), m_parameters, m_readyDeadline, parent);
}

void LinkListener::refuse(qintptr descriptor) {
    ::close(static_cast<int>(descriptor));
}

void LinkListener::incomingConnection(qintptr descriptor) {
    if (!onConnection) {
        refuse(descriptor);
        return;
    }
    try {
        onConnection(descriptor);
    } catch (const std::exception& error) {
        // Only this connection is lost (the owner decides whether it was closed); the listener
        // keeps accepting.
        qCWarning(lcListener, "Connection handler failed: %s", error.what());
    }
}

} // namespace quillvane
