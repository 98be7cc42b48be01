#include "BrowserLink.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>

#include "BrowserName.h"
#include "BrowserProof.h"
#include "BrowserRegistry.h"
#include "Random.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcWeb, "app.quillvane.WebLink", QtInfoMsg)

const char* const kNoProof = "浏览器未在时限内完成认证";
const char* const kWrongProof = "浏览器认证失败";
const char* const kUnknownBrowser = "浏览器未配对或已被撤销";
const char* const kBadToken = "浏览器配对码无效或已过期";

QString base64(const QByteArray& bytes) { return QString::fromLatin1(bytes.toBase64()); }

std::optional<QByteArray> fromBase64(const QJsonValue& value, qsizetype size) {
    const auto decoded = QByteArray::fromBase64Encoding(value.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != size)
        return std::nullopt;
    return decoded.decoded;
}

} // namespace

BrowserLink::BrowserLink(BrowserRegistry& registry, QHostAddress peer, QString userAgent, QString computerName,
                         std::function<double()> uptime, QObject* parent)
    : Link(parent), m_registry(registry), m_peer(std::move(peer)), m_userAgent(std::move(userAgent)),
      m_computerName(std::move(computerName)), m_uptime(std::move(uptime)) {
    m_proofTimer.setSingleShot(true);
    connect(&m_proofTimer, &QTimer::timeout, this, [this] { refuse(QString::fromUtf8(kNoProof)); });
}

BrowserLink::~BrowserLink() = default;

void BrowserLink::describeChallenge(QJsonObject&) const {}

void BrowserLink::start() {
    if (m_started || m_closed)
        return;
    m_started = true;
    const auto nonce = randomBytes(BrowserProof::kNonceBytes);
    if (!nonce) {
        close(QStringLiteral("no randomness"));
        return;
    }
    m_hostNonce = *nonce;
    m_proofTimer.start(kProofDeadline);
    QJsonObject challenge{{QStringLiteral("type"), QStringLiteral("challenge")},
                          {QStringLiteral("nonce"), base64(m_hostNonce)}};
    describeChallenge(challenge);
    sendStep(challenge);
}

void BrowserLink::receiveText(const QByteArray& text) {
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
        handleStep(text);
        return;
    }
    try {
        const WireMessage message = WireMessage::fromJson(std::string_view(text.constData(), static_cast<std::size_t>(text.size())));
        if (onMessage)
            onMessage(message);
    } catch (const std::exception& error) {
        close(QString::fromUtf8(error.what()));
    }
}

void BrowserLink::handleStep(const QByteArray& text) {
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
        sendStep({{QStringLiteral("type"), QStringLiteral("credential")},
                  {QStringLiteral("id"), credential->id},
                  {QStringLiteral("secret"), base64(credential->secret)}});
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
    sendStep({{QStringLiteral("type"), QStringLiteral("proven")},
              {QStringLiteral("proof"), base64(hostProof)},
              {QStringLiteral("name"), m_computerName}});
    if (onAuthenticated)
        onAuthenticated();
}

void BrowserLink::refuse(const QString& reason) {
    if (m_closed)
        return;
    qCInfo(lcWeb).noquote() << "Browser link refused from" << m_peer.toString() << "reason:" << reason;
    sendStep({{QStringLiteral("type"), QStringLiteral("refused")}, {QStringLiteral("reason"), reason}});
    m_refused = true;
    close(reason);
}

void BrowserLink::sendStep(const QJsonObject& step) { sendText(QJsonDocument(step).toJson(QJsonDocument::Compact)); }

void BrowserLink::send(const WireMessage& message) {
    if (m_closed || !m_authenticated)
        return;
    try {
        sendText(QByteArray::fromStdString(message.toJson()));
    } catch (const std::exception& error) {
        close(QString::fromUtf8(error.what()));
    }
}

void BrowserLink::close(std::optional<QString> reason) {
    if (m_closed)
        return;
    m_closed = true;
    m_proofTimer.stop();
    endTransport();
    auto handler = std::move(onClose);
    onMessage = nullptr;
    onClose = nullptr;
    onFirstBytes = nullptr;
    if (handler)
        handler(reason);
}

} // namespace quillvane
