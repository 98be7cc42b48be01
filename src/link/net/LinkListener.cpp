#include "LinkListener.h"

#include <exception>
#include <memory>
#include <utility>

#include <QLoggingCategory>
#include <QSslSocket>
#include <unistd.h>

namespace quillvane {

namespace {
Q_LOGGING_CATEGORY(lcListener, "app.quillvane.LinkListener")
} // namespace

LinkListener::LinkListener(SecureLink::Parameters parameters,
                           std::chrono::milliseconds readyDeadline, QObject* parent)
    : QTcpServer(parent), m_parameters(std::move(parameters)), m_readyDeadline(readyDeadline) {}

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
