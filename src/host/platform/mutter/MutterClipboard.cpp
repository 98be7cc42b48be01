#include "MutterClipboard.h"

#include <utility>

#include <poll.h>
#include <unistd.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QElapsedTimer>

namespace quillvane {
namespace {

const QString service = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString sessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");

const QStringList textTypes{QStringLiteral("text/plain;charset=utf-8"),
                            QStringLiteral("text/plain"), QStringLiteral("UTF8_STRING"),
                            QStringLiteral("STRING"), QStringLiteral("TEXT")};

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
    m_selectionIsOurs = options.value(QStringLiteral("session-is-owner")).toBool();
    if (!m_selectionIsOurs) {
        m_userTypes = mimeTypesOf(options.value(QStringLiteral("mime-types")));
        m_restored.clear();
    }
}

// The compositor hands over a pipe to the program pasting; what we serve goes into it.
void MutterClipboard::transfer(const QString& mimeType, uint serial) {
    const QDBusMessage reply = call(QStringLiteral("SelectionWrite"), {serial});
    const auto found = m_served.find(mimeType);
    bool written = false;
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
        const auto descriptor = reply.arguments().first().value<QDBusUnixFileDescriptor>();
        if (descriptor.isValid() && found != m_served.end()) {
            const QByteArray& data = found->second;
            qsizetype done = 0;
            while (done < data.size()) {
                const ssize_t n = ::write(descriptor.fileDescriptor(), data.constData() + done,
                                          static_cast<std::size_t>(data.size() - done));
                if (n <= 0)
                    break;
                done += n;
            }
            written = done == data.size();
            // Mutter's own copy of a new selection is the first read of it; the paste comes
            // after.
            if (m_ownCopyPending)
                m_ownCopyPending = false;
            else
                m_delivered = m_delivered || written;
        }
    }
    call(QStringLiteral("SelectionWriteDone"), {serial, written});
}

std::optional<QByteArray> MutterClipboard::read(const QString& mimeType) {
    const QDBusMessage reply = call(QStringLiteral("SelectionRead"), {mimeType});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    const auto descriptor = reply.arguments().first().value<QDBusUnixFileDescriptor>();
    if (!descriptor.isValid())
        return std::nullopt;
    QByteArray data;
    QElapsedTimer timer;
    timer.start();
    pollfd readable{descriptor.fileDescriptor(), POLLIN, 0};
    while (timer.elapsed() < readTimeoutMs) {
        if (poll(&readable, 1, static_cast<int>(readTimeoutMs - timer.elapsed())) <= 0)
            return std::nullopt;
        char buffer[65536];
        const ssize_t n = ::read(descriptor.fileDescriptor(), buffer, sizeof buffer);
        if (n == 0)
            return data;
        if (n < 0 || data.size() + n > static_cast<qsizetype>(maximumKeptBytes))
            return std::nullopt;
        data.append(buffer, n);
    }
    return std::nullopt;
}

void MutterClipboard::setSelection(Content content) {
    QStringList types;
    for (const auto& entry : content)
        types << entry.first;
    m_served = std::move(content);
    call(QStringLiteral("SetSelection"),
         {QVariantMap{{QStringLiteral("mime-types"), QVariant::fromValue(types)}}});
}

bool MutterClipboard::offer(const std::string& text) {
    if (!m_kept) {
        // A restored copy is still the user's while the selection stays ours.
        Content kept = m_selectionIsOurs ? m_restored : Content{};
        // A copy made just now may not have been announced to us yet: its text is asked for
        // all the same.
        const QStringList& types = m_userTypes.isEmpty() ? textTypes : m_userTypes;
        if (!m_selectionIsOurs)
            for (const QString& type : types.mid(0, maximumKeptTypes))
                if (auto data = read(type))
                    kept[type] = std::move(*data);
        m_kept = std::move(kept);
    }
    Content content;
    for (const QString& type : textTypes)
        content[type] = QByteArray::fromStdString(text);
    setSelection(std::move(content));
    m_delivered = false;
    m_ownCopyPending = true;
    return true;
}

void MutterClipboard::restore() {
    if (!m_kept)
        return;
    if (!m_kept->empty()) {
        m_restored = *m_kept;
        setSelection(std::move(*m_kept));
    }
    m_kept.reset();
}

} // namespace quillvane
