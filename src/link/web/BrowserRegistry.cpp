#include "BrowserRegistry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

#include "BrowserProof.h"
#include "Random.h"

namespace quillvane {
namespace {

constexpr auto kBase64Url = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;

std::optional<QByteArray> decodedToken(const QString& text) {
    const auto decoded = QByteArray::fromBase64Encoding(text.toLatin1(), kBase64Url | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != BrowserRegistry::kTokenBytes)
        return std::nullopt;
    return decoded.decoded;
}

} // namespace

std::optional<BrowserRegistry> BrowserRegistry::fromJson(const QByteArray& json) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonValue list = document.object().value(QStringLiteral("browsers"));
    if (!list.isArray())
        return std::nullopt;
    BrowserRegistry registry;
    for (const QJsonValue& entry : list.toArray()) {
        const QJsonObject object = entry.toObject();
        BrowserCredential browser{
            object.value(QStringLiteral("id")).toString(),
            QByteArray::fromHex(object.value(QStringLiteral("secret")).toString().toLatin1()),
            object.value(QStringLiteral("name")).toString(),
            QDateTime::fromString(object.value(QStringLiteral("lastSeen")).toString(), Qt::ISODate)};
        if (browser.id.isEmpty() || browser.secret.size() != BrowserProof::kSecretBytes)
            return std::nullopt;
        registry.m_browsers.append(std::move(browser));
    }
    return registry;
}

QByteArray BrowserRegistry::toJson() const {
    QJsonArray list;
    for (const auto& browser : m_browsers)
        list.append(QJsonObject{{QStringLiteral("id"), browser.id},
                                {QStringLiteral("secret"), QString::fromLatin1(browser.secret.toHex())},
                                {QStringLiteral("name"), browser.name},
                                {QStringLiteral("lastSeen"), browser.lastSeen.toUTC().toString(Qt::ISODate)}});
    return QJsonDocument(QJsonObject{{QStringLiteral("browsers"), list}}).toJson(QJsonDocument::Compact);
}

QString BrowserRegistry::issueToken(double now) {
    const auto bytes = randomBytes(kTokenBytes);
    if (!bytes)
        return {};
    std::erase_if(m_tokens, [now](const Token& token) { return token.expires <= now; });
    if (m_tokens.size() >= kMaximumTokens)
        m_tokens.erase(m_tokens.begin());
    m_tokens.push_back({*bytes, now + kTokenLifetime});
    return QString::fromLatin1(bytes->toBase64(kBase64Url));
}

std::optional<BrowserCredential> BrowserRegistry::redeem(const QString& token, const QString& name, double now,
                                                         const QDateTime& utcNow) {
    const auto bytes = decodedToken(token);
    if (!bytes)
        return std::nullopt;
    const auto found = std::find_if(m_tokens.begin(), m_tokens.end(), [&](const Token& candidate) {
        return BrowserProof::matches(candidate.bytes, *bytes);
    });
    if (found == m_tokens.end())
        return std::nullopt;
    const bool fresh = found->expires > now;
    m_tokens.erase(found); // single use, and an expired one is gone either way
    const auto id = randomBytes(kTokenBytes);
    const auto secret = randomBytes(BrowserProof::kSecretBytes);
    if (!fresh || !id || !secret)
        return std::nullopt;
    if (m_browsers.size() >= static_cast<qsizetype>(kMaximumBrowsers))
        m_browsers.erase(std::min_element(m_browsers.begin(), m_browsers.end(), [](const auto& a, const auto& b) {
            return a.lastSeen < b.lastSeen;
        }));
    BrowserCredential browser{QString::fromLatin1(id->toBase64(kBase64Url)), *secret, name, utcNow.toUTC()};
    m_browsers.append(browser);
    return browser;
}

const BrowserCredential* BrowserRegistry::find(const QString& id) const {
    const auto found = std::find_if(m_browsers.begin(), m_browsers.end(),
                                    [&](const BrowserCredential& browser) { return browser.id == id; });
    return found == m_browsers.end() ? nullptr : &*found;
}

void BrowserRegistry::markSeen(const QString& id, const QDateTime& utcNow) {
    for (auto& browser : m_browsers)
        if (browser.id == id)
            browser.lastSeen = utcNow.toUTC();
}

bool BrowserRegistry::revoke(const QString& id) {
    return m_browsers.removeIf([&](const BrowserCredential& browser) { return browser.id == id; }) > 0;
}

void BrowserRegistry::revokeAll() {
    m_browsers.clear();
    m_tokens.clear();
}

} // namespace quillvane
