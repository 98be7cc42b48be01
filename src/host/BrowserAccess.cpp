#include "BrowserAccess.h"

#include <QLoggingCategory>
#include <QNetworkInterface>
#include <QSettings>

#include "keychain/KeychainStore.h"
#include "protocol/PadError.h"
#include "web/WebEndpoint.h"
#include "web/WebIdentity.h"
#include "web/BrowserLink.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcBrowser, "app.quillvane.BrowserAccess", QtInfoMsg)

const std::string kIdentityAccount = "web";
const std::string kBrowsersAccount = "browsers";
const QString kPortKey = QStringLiteral("webPort");

bool isPrivate(const QHostAddress& address) {
    return address.isInSubnet(QHostAddress(QStringLiteral("10.0.0.0")), 8) ||
           address.isInSubnet(QHostAddress(QStringLiteral("172.16.0.0")), 12) ||
           address.isInSubnet(QHostAddress(QStringLiteral("192.168.0.0")), 16);
}

} // namespace

BrowserAccess::BrowserAccess(KeychainStore& keychain, QSettings& settings, std::function<double()> uptime,
                             QString computerName, QObject* parent)
    : QObject(parent), m_keychain(keychain), m_settings(settings), m_uptime(std::move(uptime)),
      m_computerName(std::move(computerName)) {}

BrowserAccess::~BrowserAccess() { stop(); }

void BrowserAccess::start(std::function<void(Link*)> receive) {
    if (m_endpoint)
        return;
    std::optional<WebIdentity> identity;
    if (const auto stored = m_keychain.readData(kIdentityAccount))
        identity = WebIdentity::fromPem(QByteArray::fromStdString(*stored));
    if (!identity) {
        identity = WebIdentity::create(m_computerName);
        m_keychain.writeData(identity->toPem().toStdString(), kIdentityAccount);
        qCInfo(lcBrowser).noquote() << "Made the browser certificate" << identity->fingerprint();
    }
    if (const auto stored = m_keychain.readData(kBrowsersAccount)) {
        if (auto registry = BrowserRegistry::fromJson(QByteArray::fromStdString(*stored)))
            m_registry = std::move(*registry);
        else
            qCWarning(lcBrowser, "The stored list of paired browsers is unreadable; starting empty");
    }
    auto endpoint = std::make_unique<WebEndpoint>(*identity, m_registry, m_uptime);
    endpoint->computerName = m_computerName;
    endpoint->onLink = [receive = std::move(receive)](BrowserLink* link) { receive(link); };
    endpoint->onRegistryChanged = [this] { save(); };
    endpoint->onBrowserPaired = [this](const QString& name) { Q_EMIT browserPaired(name); };
    const auto wanted = static_cast<quint16>(m_settings.value(kPortKey, 0).toUInt());
    if (!endpoint->listen(wanted))
        throw PadError::invalid("无法打开浏览器连接端口");
    // The same port across restarts, so a browser's saved page and its accepted certificate
    // keep working; another one only when that is taken.
    if (endpoint->port() != wanted)
        m_settings.setValue(kPortKey, endpoint->port());
    m_endpoint = std::move(endpoint);
    Q_EMIT browsersChanged();
}

void BrowserAccess::stop() { m_endpoint.reset(); }

quint16 BrowserAccess::port() const { return m_endpoint ? m_endpoint->port() : 0; }

QString BrowserAccess::pairingLink(const QHostAddress& address) {
    if (!m_endpoint)
        return {};
    const QHostAddress host = address.isNull() ? lanAddresses().value(0) : address;
    const QString token = m_registry.issueToken(m_uptime());
    if (token.isEmpty())
        return {};
    const QString name = host.protocol() == QAbstractSocket::IPv6Protocol
                             ? QLatin1Char('[') + host.toString() + QLatin1Char(']')
                             : host.toString();
    return QStringLiteral("https://%1:%2/#t=%3").arg(name).arg(port()).arg(token);
}

QList<QHostAddress> BrowserAccess::lanAddresses() {
    QList<QHostAddress> preferred;
    QList<QHostAddress> others;
    for (const auto& interface : QNetworkInterface::allInterfaces()) {
        const auto flags = interface.flags();
        if (!flags.testFlag(QNetworkInterface::IsUp) || !flags.testFlag(QNetworkInterface::IsRunning) ||
            flags.testFlag(QNetworkInterface::IsLoopBack))
            continue;
        for (const auto& entry : interface.addressEntries()) {
            const QHostAddress address = entry.ip();
            if (address.protocol() != QAbstractSocket::IPv4Protocol || address.isLinkLocal())
                continue;
            (isPrivate(address) ? preferred : others).append(address);
        }
    }
    preferred += others;
    if (preferred.isEmpty())
        preferred.append(QHostAddress(QHostAddress::LocalHost));
    return preferred;
}

void BrowserAccess::revoke(const QString& id) {
    if (!m_registry.revoke(id))
        return;
    if (m_endpoint)
        m_endpoint->closeBrowser(id);
    save();
}

void BrowserAccess::revokeAll() {
    m_registry.revokeAll();
    if (m_endpoint)
        m_endpoint->closeBrowser({});
    save();
}

void BrowserAccess::save() {
    try {
        m_keychain.writeData(m_registry.toJson().toStdString(), kBrowsersAccount);
    } catch (const std::exception& error) {
        qCWarning(lcBrowser, "Cannot save the paired browsers: %s", error.what());
    }
    Q_EMIT browsersChanged();
}

} // namespace quillvane
