#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <cstddef>
#include <optional>
#include <vector>

namespace quillvane {

// A browser paired with this computer: its own id and secret, never the phone's pairing key.
struct BrowserCredential {
    QString id;         // 22 characters of URL-safe base64 (128 random bits)
    QByteArray secret;  // 32 bytes
    QString name;       // from the user agent, for the list in the window
    QDateTime lastSeen; // UTC; when it last authenticated (or paired)
};

// The paired browsers and the one-time tokens that pair new ones. A token is 128 random bits,
// good for one redemption within five minutes; redeeming it makes a new credential. The list is
// what the secret store keeps (toJson/fromJson); tokens live only in memory, so a restart ends
// them. Time is an argument: monotonic seconds for the tokens, UTC for what the window shows.
class BrowserRegistry {
public:
    static constexpr double kTokenLifetime = 300;
    static constexpr int kTokenBytes = 16;
    // Tokens shown and not yet used; an older one is forgotten when more are asked for.
    static constexpr std::size_t kMaximumTokens = 8;
    static constexpr std::size_t kMaximumBrowsers = 64;

    // Absent when the stored text is not a list this program wrote.
    static std::optional<BrowserRegistry> fromJson(const QByteArray& json);
    QByteArray toJson() const;

    // A new token (URL-safe base64 without padding), or an empty text when the kernel gave no
    // randomness.
    QString issueToken(double now);
    // The new browser's credential; absent for an unknown, used or expired token. Pairing a
    // browser beyond kMaximumBrowsers forgets the one seen longest ago.
    std::optional<BrowserCredential> redeem(const QString& token, const QString& name, double now,
                                            const QDateTime& utcNow);

    const BrowserCredential* find(const QString& id) const;
    void markSeen(const QString& id, const QDateTime& utcNow);
    bool revoke(const QString& id);
    void revokeAll();
    const QList<BrowserCredential>& browsers() const { return m_browsers; }

private:
    struct Token {
        QByteArray bytes;
        double expires = 0;
    };

    std::vector<Token> m_tokens;
    QList<BrowserCredential> m_browsers;
};

} // namespace quillvane
