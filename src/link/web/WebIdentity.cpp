#include "WebIdentity.h"

#include <QCryptographicHash>

#include <memory>
#include <string>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "Random.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

constexpr long kValiditySeconds = 20L * 365 * 24 * 60 * 60;
const char* const kCannotCreate = "无法生成浏览器连接证书";

template <auto free>
struct Deleter {
    template <typename T>
    void operator()(T* pointer) const { free(pointer); }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Deleter<X509_free>>;
using Bio = std::unique_ptr<BIO, Deleter<BIO_free>>;

QByteArray pem(const auto& write) {
    Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || !write(bio.get()))
        throw PadError::invalid(kCannotCreate);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return QByteArray(data, static_cast<qsizetype>(size));
}

} // namespace

WebIdentity WebIdentity::create(const QString& computerName) {
    Key key(EVP_EC_gen("P-256"));
    Certificate certificate(X509_new());
    if (!key || !certificate)
        throw PadError::invalid(kCannotCreate);
    // A random serial: browsers remember certificates by issuer and serial, and two computers
    // with the same name must not collide.
    unsigned char serial[16];
    if (!secureRandomBytes(serial))
        throw PadError::invalid(kCannotCreate);
    serial[0] &= 0x7f; // positive
    std::unique_ptr<BIGNUM, Deleter<BN_free>> number(BN_bin2bn(serial, sizeof serial, nullptr));
    const std::string name = (QStringLiteral("Quillvane ") + computerName).left(64).toStdString();
    X509_NAME* subject = X509_get_subject_name(certificate.get());
    bool made = number && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate.get())) &&
                X509_set_version(certificate.get(), 2) &&
                X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -24 * 60 * 60) &&
                X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kValiditySeconds) &&
                X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0) &&
                X509_set_issuer_name(certificate.get(), subject) && X509_set_pubkey(certificate.get(), key.get());
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate.get(), certificate.get(), nullptr, nullptr, 0);
    for (const auto& [nid, value] : {std::pair{NID_basic_constraints, "critical,CA:FALSE"},
                                     std::pair{NID_key_usage, "critical,digitalSignature"},
                                     std::pair{NID_ext_key_usage, "serverAuth"}}) {
        X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
        made = made && extension && X509_add_ext(certificate.get(), extension, -1);
        X509_EXTENSION_free(extension);
    }
    if (!made || !X509_sign(certificate.get(), key.get(), EVP_sha256()))
        throw PadError::invalid(kCannotCreate);

    WebIdentity identity;
    identity.certificate = QSslCertificate(pem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); }));
    identity.key = QSslKey(pem([&](BIO* bio) {
                               return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
                           }),
                           QSsl::Ec);
    if (identity.certificate.isNull() || identity.key.isNull())
        throw PadError::invalid(kCannotCreate);
    return identity;
}

QByteArray WebIdentity::toPem() const { return key.toPem() + certificate.toPem(); }

std::optional<WebIdentity> WebIdentity::fromPem(const QByteArray& pem) {
    const auto certificates = QSslCertificate::fromData(pem, QSsl::Pem);
    WebIdentity identity{certificates.value(0), QSslKey(pem, QSsl::Ec)};
    if (identity.certificate.isNull() || identity.key.isNull() || identity.key.type() != QSsl::PrivateKey ||
        identity.certificate.publicKey().algorithm() != QSsl::Ec)
        return std::nullopt;
    return identity;
}

QString WebIdentity::fingerprint() const {
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
}

} // namespace quillvane
