#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>

#include <optional>

namespace quillvane {

// The browser endpoint's TLS identity: a self-signed ECDSA P-256 certificate and its key, made
// once and kept with the pairing secrets. A browser needs HTTPS for the microphone, the motion
// sensors and WebCrypto; this gives it that, not trust: the person accepts it once per browser,
// and what proves a paired browser is its credential, not the certificate.
struct WebIdentity {
    QSslCertificate certificate;
    QSslKey key;

    // A new identity named after the computer, valid for twenty years (a browser that accepted it
    // is not asked again while it lasts). Throws PadError when OpenSSL cannot make one.
    static WebIdentity create(const QString& computerName);
    // The stored form (both in PEM) and back; absent when the text is not a usable pair.
    QByteArray toPem() const;
    static std::optional<WebIdentity> fromPem(const QByteArray& pem);
    // SHA-256 of the certificate, as the window shows it to compare with the browser's view.
    QString fingerprint() const;
};

} // namespace quillvane
