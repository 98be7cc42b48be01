#include "WebSocketLink.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QWebSocket>

#include "BrowserName.h"
#include "BrowserProof.h"
#include "BrowserRegistry.h"
#include "Random.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcWeb, "app.quillvane.WebLink", QtInfoMsg)

const char* const kNoProof = "浏览器未在时限内完成认证";
const char* const kWrongProof = "浏览器认证失败";
const char* const kUnknownBrowser = "浏览器未配对或已被撤销";
const char* const kBadToken = "浏览器配对码无效或已过期";

QByteArray base64(const QByteArray& bytes) { return bytes.toBase64(); }

std::optional<QByteArray> fromBase64(const QJsonValue& value, qsizetype size) {
    const auto decoded = QByteArray::fromBase64Encoding(value.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != size)
        return std::nullopt;
    return decoded.decoded;
}

} // namespace

WebSocketLink::WebSocketLink(std::unique_ptr<QWebSocket> socket, BrowserRegistry& registry, QString userAgent,
                             QString computerName, std::function<double()> uptime, QObject* parent)
    : Link(parent), m_socket(std::move(socket)), m_registry(registry), m_userAgent(std::move(userAgent)),
      m_computerName(std::move(computerName)), m_uptime(std::move(uptime)), m_peer(m_socket->peerAddress()) {
    m_socket->setParent(nullptr);
    m_socket->setMaxAllowedIncomingMessageSize(kMaximumMessage);
    m_socket->setMaxAllowedIncomingFrameSize(kMaximumMessage);
    m_proofTimer.setSingleShot(true);
    connect(&m_proofTimer, &QTimer::timeout, this, [this] { refuse(QString::fromUtf8(kNoProof)); });
}

WebSocketLink::~WebSocketLink() {
    if (m_socket) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
}

void WebSocketLink::start() {
    if (m_started || m_closed)
        return;
    m_started = true;
    connect(m_socket.get(), &QWebSocket::textMessageReceived, this, &WebSocketLink::handleText);
    connect(m_socket.get(), &QWebSocket::binaryMessageReceived, this,
            [this] { refuse(QStringLiteral("binary frame")); });
    connect(m_socket.get(), &QWebSocket::disconnected, this, [this] { close(); });
    m_hostNonce = QByteArray(BrowserProof::kNonceBytes, '\0');
    if (!secureRandomBytes({reinterpret_cast<std::uint8_t*>(m_hostNonce.data()),
                            static_cast<std::size_t>(m_hostNonce.size())})) {
        close(QStringLiteral("no randomness"));
        return;
    }
    m_proofTimer.start(kProofDeadline);
    sendStep(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("challenge")},
                                       {QStringLiteral("nonce"), QString::fromLatin1(base64(m_hostNonce))}})
                 .toJson(QJsonDocument::Compact));
}

void WebSocketLink::handleText(const QString& text) {
    if (m_closed)
        return;
    if (!m_spoke) {
        m_spoke = true;
        if (onFirstBytes) {
            onFirstBytes();
            if (m_closed)
                return;
        }
    }
    if (!m_authenticated) {
        handleStep(text.toUtf8());
        return;
    }
    try {
        const WireMessage message = WireMessage::fromJson(text.toStdString());
        if (onMessage)
            onMessage(message);
    } catch (const std::exception& error) {
        close(QString::fromUtf8(error.what()));
    }
}

void WebSocketLink::handleStep(const QByteArray& text) {
    const QJsonObject step = QJsonDocument::fromJson(text).object();
    const QString type = step.value(QStringLiteral("type")).toString();
    if (type == QLatin1String("pair") && !m_paired) {
        m_paired = true;
        const auto credential = m_registry.redeem(step.value(QStringLiteral("token")).toString(), browserName(m_userAgent),
                                                  m_uptime(), QDateTime::currentDateTimeUtc());
        if (!credential) {
            refuse(QString::fromUtf8(kBadToken));
            return;
        }
        qCInfo(lcWeb).noquote() << "Browser paired:" << credential->name;
        if (onPaired)
            onPaired(*credential);
        sendStep(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("credential")},
                                           {QStringLiteral("id"), credential->id},
                                           {QStringLiteral("secret"), QString::fromLatin1(base64(credential->secret))}})
                     .toJson(QJsonDocument::Compact));
        return;
    }
    if (type != QLatin1String("prove")) {
        refuse(QString::fromUtf8(kWrongProof));
        return;
    }
    const QString id = step.value(QStringLiteral("id")).toString();
    const BrowserCredential* browser = m_registry.find(id);
    if (!browser) {
        refuse(QString::fromUtf8(kUnknownBrowser));
        return;
    }
    const auto pageNonce = fromBase64(step.value(QStringLiteral("nonce")), BrowserProof::kNonceBytes);
    const auto proof = fromBase64(step.value(QStringLiteral("proof")), 32);
    if (!pageNonce || !proof ||
        !BrowserProof::matches(BrowserProof::page(browser->secret, m_hostNonce, *pageNonce), *proof)) {
        refuse(QString::fromUtf8(kWrongProof));
        return;
    }
    const QByteArray hostProof = BrowserProof::host(browser->secret, *pageNonce, m_hostNonce);
    m_proofTimer.stop();
    m_browserId = id;
    m_authenticated = true;
    m_registry.markSeen(id, QDateTime::currentDateTimeUtc());
    sendStep(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("proven")},
                                       {QStringLiteral("proof"), QString::fromLatin1(base64(hostProof))},
                                       {QStringLiteral("name"), m_computerName}})
                 .toJson(QJsonDocument::Compact));
    if (onAuthenticated)
        onAuthenticated();
}

void WebSocketLink::refuse(const QString& reason) {
    if (m_closed)
        return;
    qCInfo(lcWeb).noquote() << "WebSocket refused from" << m_peer.toString() << "reason:" << reason;
    sendStep(QJsonDocument(QJsonObject{{QStringLiteral("type"), QStringLiteral("refused")},
                                       {QStringLiteral("reason"), reason}})
                 .toJson(QJsonDocument::Compact));
    m_socket->close(QWebSocketProtocol::CloseCodePolicyViolated);
    close(reason);
}

void WebSocketLink::sendStep(const QByteArray& json) { m_socket->sendTextMessage(QString::fromUtf8(json)); }

void WebSocketLink::send(const WireMessage& message) {
    if (m_closed || !m_authenticated)
        return;
    try {
        m_socket->sendTextMessage(QString::fromStdString(message.toJson()));
    } catch (const std::exception& error) {
        close(QString::fromUtf8(error.what()));
    }
}

void WebSocketLink::close(std::optional<QString> reason) {
    if (m_closed)
        return;
    m_closed = true;
    m_proofTimer.stop();
    if (m_socket) {
        m_socket->disconnect(this);
        if (m_socket->state() != QAbstractSocket::UnconnectedState)
            m_socket->close();
    }
    auto handler = std::move(onClose);
    onMessage = nullptr;
    onClose = nullptr;
    onFirstBytes = nullptr;
    if (handler)
        handler(reason);
}

} // namespace quillvane
