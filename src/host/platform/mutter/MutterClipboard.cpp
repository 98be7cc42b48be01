#include "MutterClipboard.h"

#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <QMetaObject>

namespace quillvane {
namespace {

const QString service = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString sessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

// SelectionOwnerChanged gives the types as a structure holding the list ("(as)").
QStringList mimeTypesOf(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>())
        return value.toStringList();
    const auto argument = value.value<QDBusArgument>();
    QStringList types;
    if (argument.currentType() == QDBusArgument::StructureType) {
        argument.beginStructure();
        argument >> types;
        argument.endStructure();
    } else if (argument.currentType() == QDBusArgument::ArrayType) {
        argument >> types;
    }
    return types;
}

// A descriptor of our own for one passed in a reply, or -1.
int descriptorOf(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return -1;
    const auto descriptor = reply.arguments().first().value<QDBusUnixFileDescriptor>();
    return descriptor.isValid() ? fcntl(descriptor.fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1;
}

} // namespace

MutterClipboard::MutterClipboard(QDBusConnection bus, QString session)
    : m_bus(std::move(bus)), m_session(std::move(session)) {
    m_bus.connect(service, m_session, sessionInterface, QStringLiteral("SelectionOwnerChanged"),
                  this, SLOT(ownerChanged(QVariantMap)));
    m_bus.connect(service, m_session, sessionInterface, QStringLiteral("SelectionTransfer"), this,
                  SLOT(transfer(QString, uint)));
    call(QStringLiteral("EnableClipboard"), {QVariantMap{}});
}

QDBusMessage MutterClipboard::call(const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, m_session, sessionInterface, method);
    message.setArguments(arguments);
    return m_bus.call(message, QDBus::Block, 2000);
}

void MutterClipboard::ownerChanged(const QVariantMap& options) {
    if (options.value(QStringLiteral("session-is-owner")).toBool() || m_replacedOwnersQueued)
        return;
    m_userTypes = mimeTypesOf(options.value(QStringLiteral("mime-types")));
    userSelected();
}

// The compositor hands over a pipe to the program pasting; what we serve goes into it, and Mutter
// hears when it is all there.
void MutterClipboard::transfer(const QString& mimeType, uint serial) {
    const int fd = descriptorOf(call(QStringLiteral("SelectionWrite"), {serial}));
    if (fd < 0) {
        call(QStringLiteral("SelectionWriteDone"), {serial, false});
        return;
    }
    serve(mimeType.toStdString(), fd, !std::exchange(m_ownCopyPending, false),
          [this, serial](bool written) {
              QDBusMessage message = QDBusMessage::createMethodCall(
                  service, m_session, sessionInterface, QStringLiteral("SelectionWriteDone"));
              message.setArguments({serial, written});
              m_bus.send(message);
          });
}

// Mutter answers a ping after the signals it sent before, and the answer is delivered after them:
// a copy the user made just before the paste is known by then.
void MutterClipboard::settle(std::function<void()> then) {
    const QDBusMessage ping = QDBusMessage::createMethodCall(
        service, m_session, QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping"));
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(ping, 2000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [then = std::move(then)](QDBusPendingCallWatcher* answered) {
                answered->deleteLater();
                then();
            });
}

// A copy made just now may not have been announced to us yet: its text is asked for all the same.
std::vector<std::string> MutterClipboard::userTypes() const {
    if (m_userTypes.isEmpty())
        return textTypes();
    std::vector<std::string> types;
    for (const QString& type : m_userTypes)
        types.push_back(type.toStdString());
    return types;
}

int MutterClipboard::receive(const std::string& type) {
    return descriptorOf(call(QStringLiteral("SelectionRead"), {QString::fromStdString(type)}));
}

// Mutter cannot clear a selection: with no content to give back, ours stays, serving nothing.
bool MutterClipboard::select(const std::vector<std::string>& types) {
    if (types.empty())
        return true;
    QStringList list;
    for (const std::string& type : types)
        list << QString::fromStdString(type);
    m_ownCopyPending = true;
    const QDBusMessage reply = call(QStringLiteral("SetSelection"),
                                    {QVariantMap{{QStringLiteral("mime-types"),
                                                  QVariant::fromValue(list)}}});
    // Signals that came while the call was blocking are queued, in the order Mutter sent them,
    // ahead of anything posted from here on: an owner they name is one ours replaced.
    m_replacedOwnersQueued = true;
    QMetaObject::invokeMethod(
        this, [this] { m_replacedOwnersQueued = false; }, Qt::QueuedConnection);
    return reply.type() == QDBusMessage::ReplyMessage;
}

} // namespace quillvane
