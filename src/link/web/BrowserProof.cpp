#include "BrowserProof.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>

#include <cstring>

namespace quillvane {
namespace {

QByteArray hmac(const QByteArray& secret, const char* label, const QByteArray& first, const QByteArray& second) {
    QMessageAuthenticationCode code(QCryptographicHash::Sha256, secret);
    code.addData(label, static_cast<qsizetype>(std::strlen(label)));
    code.addData(first);
    code.addData(second);
    return code.result();
}

} // namespace

QByteArray BrowserProof::page(const QByteArray& secret, const QByteArray& hostNonce, const QByteArray& pageNonce) {
    return hmac(secret, "quillvane-browser", hostNonce, pageNonce);
}

QByteArray BrowserProof::host(const QByteArray& secret, const QByteArray& pageNonce, const QByteArray& hostNonce) {
    return hmac(secret, "quillvane-host", pageNonce, hostNonce);
}

bool BrowserProof::matches(const QByteArray& expected, const QByteArray& presented) {
    if (expected.size() != presented.size() || expected.isEmpty())
        return false;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < expected.size(); ++i)
        difference |= static_cast<unsigned char>(expected[i] ^ presented[i]);
    return difference == 0;
}

} // namespace quillvane
