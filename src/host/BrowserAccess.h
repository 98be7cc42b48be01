#pragma once

#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

#include "web/BrowserRegistry.h"

class QSettings;

namespace quillvane {

class KeychainStore;
class Link;
class WebEndpoint;

// The browser controller's side of the host: the endpoint on its stable port, its certificate
// and the paired browsers kept in the secret store, and the pairing links the window and the
// terminal show. WebSocket links it accepts go to the same reception as the phone's TLS links.
class BrowserAccess : public QObject {
    Q_OBJECT

public:
    BrowserAccess(KeychainStore& keychain, QSettings& settings, std::function<double()> uptime,
                  QString computerName, QObject* parent = nullptr);
    ~BrowserAccess() override;

    // Starts the endpoint; links go to `receive`. Throws PadError with the reason when the
    // secret store or the network refuses.
    void start(std::function<void(Link*)> receive);
    void stop();
    quint16 port() const;

    // A link with a fresh one-time token for a browser to open, on `address` (the first of
    // lanAddresses() when null); empty while stopped.
    QString pairingLink(const QHostAddress& address = {});
    // Where a phone can reach this computer: private IPv4 addresses of interfaces that are up
    // first, loopback when there is none.
    static QList<QHostAddress> lanAddresses();

    const QList<BrowserCredential>& browsers() const { return m_registry.browsers(); }
    void revoke(const QString& id);
    void revokeAll();

Q_SIGNALS:
    void browsersChanged();
    // A browser paired just now: the tray says so, since a stolen token shows this way.
    void browserPaired(const QString& name);

private:
    void save();

    KeychainStore& m_keychain;
    QSettings& m_settings;
    std::function<double()> m_uptime;
    QString m_computerName;
    BrowserRegistry m_registry;
    std::unique_ptr<WebEndpoint> m_endpoint;
};

} // namespace quillvane
