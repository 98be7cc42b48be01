#pragma once

#include <QByteArray>

namespace quillvane {

// The proofs a browser and the host exchange on every WebSocket before anything else: each
// proves it holds the browser's credential secret by an HMAC-SHA-256 over both fresh nonces,
// labelled by who speaks so that one side's proof never passes as the other's.
//   page: HMAC(secret, "quillvane-browser" || host nonce || page nonce)
//   host: HMAC(secret, "quillvane-host"    || page nonce || host nonce)
struct BrowserProof {
    static constexpr int kNonceBytes = 32;
    static constexpr int kSecretBytes = 32;

    BrowserProof() = delete;

    static QByteArray page(const QByteArray& secret, const QByteArray& hostNonce, const QByteArray& pageNonce);
    static QByteArray host(const QByteArray& secret, const QByteArray& pageNonce, const QByteArray& hostNonce);
    // Compares in time that does not depend on where the first difference is.
    static bool matches(const QByteArray& expected, const QByteArray& presented);
};

} // namespace quillvane
