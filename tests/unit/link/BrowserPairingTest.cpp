// The browser endpoint's rules without a network: the request reader's bounds, one-time tokens,
// and the credential proofs against an HMAC computed by the openssl command line.

#include <gtest/gtest.h>

#include <string>

#include "web/BrowserProof.h"
#include "web/BrowserRegistry.h"
#include "web/HttpRequestReader.h"

using namespace quillvane;

namespace {

const std::string kGood = "GET /ws?x=1 HTTP/1.1\r\nHost: 10.0.0.2:8443\r\nConnection: keep-alive, Upgrade\r\n"
                          "Upgrade: websocket\r\n\r\n";

} // namespace

TEST(HttpRequestReader, readsAHeadSplitAnywhereAndRefusesWhatTheEndpointDoesNotServe) {
    for (std::size_t split = 0; split <= kGood.size(); ++split) {
        HttpRequestReader reader;
        reader.feed(std::string_view(kGood).substr(0, split));
        ASSERT_EQ(reader.feed(std::string_view(kGood).substr(split)), HttpRequestReader::State::complete) << split;
        EXPECT_EQ(reader.request().target, "/ws?x=1");
        EXPECT_TRUE(reader.request().headerLists("connection", "upgrade"));
        EXPECT_EQ(reader.headLength(), kGood.size());
    }
    const std::string host = "Host: h\r\n";
    std::string manyFields;
    for (int i = 0; i < 60; ++i)
        manyFields += "F" + std::to_string(i) + ": v\r\n";
    const std::pair<std::string, int> refused[] = {
        {"PUT / HTTP/1.1\r\n" + host + "\r\n", 405},
        {"POST / HTTP/1.1\r\n" + host + "\r\n", 411},                      // a body of no stated length
        {"POST / HTTP/1.1\r\n" + host + "Content-Length: 1048577\r\n\r\n", 413},
        {"POST / HTTP/1.1\r\n" + host + "Content-Length: -1\r\n\r\n", 400},
        {"POST / HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n\r\n", 400},
        {"GET / HTTP/1.0\r\n" + host + "\r\n", 505},
        {"GET / HTTP/1.1\r\n\r\n", 400},                                     // no Host
        {"GET / HTTP/1.1\r\n" + host + host + "\r\n", 400},                  // a field twice
        {"GET / HTTP/1.1\r\n" + host + " folded\r\n\r\n", 400},              // obsolete folding
        {"GET / HTTP/1.1\r\n" + host + "Content-Length: 5\r\n\r\n", 400},    // a body
        {"GET  / HTTP/1.1\r\n" + host + "\r\n", 400},
        {"GET noslash HTTP/1.1\r\n" + host + "\r\n", 400},
        {"GET /" + std::string(1100, 'a') + " HTTP/1.1\r\n" + host + "\r\n", 414},
        {"GET / HTTP/1.1\r\n" + host + "X: " + std::string(9000, 'a') + "\r\n\r\n", 431},
        {"GET / HTTP/1.1\r\n" + host + manyFields + "\r\n", 431},
    };
    for (const auto& [request, status] : refused) {
        HttpRequestReader reader;
        EXPECT_EQ(reader.feed(request), HttpRequestReader::State::refused) << request.substr(0, 40);
        EXPECT_EQ(reader.refusal(), status) << request.substr(0, 40);
    }
    HttpRequestReader post;
    EXPECT_EQ(post.feed("POST /link/x HTTP/1.1\r\n" + host + "Content-Length: 12\r\n\r\n{\"a\":1}"),
              HttpRequestReader::State::complete);
    EXPECT_EQ(post.contentLength(), 12u);
    // A head that never ends is refused once it passes the bound, however it trickles in.
    HttpRequestReader endless;
    for (int i = 0; i < 9000 && endless.state() == HttpRequestReader::State::reading; ++i)
        endless.feed("a");
    EXPECT_EQ(endless.refusal(), 431);
}

// A second use of a token and a revoked browser are the endpoint test's.
TEST(BrowserRegistry, aTokenPairsWithinFiveMinutesAndTheListSurvivesStorage) {
    BrowserRegistry registry;
    const QDateTime now = QDateTime::fromString(QStringLiteral("2026-11-25T12:00:00Z"), Qt::ISODate);
    const QString token = registry.issueToken(100);
    ASSERT_EQ(token.size(), 22);
    const auto browser = registry.redeem(token, QStringLiteral("Chrome (Android)"), 399, now);
    ASSERT_TRUE(browser);
    EXPECT_EQ(browser->secret.size(), 32);
    EXPECT_FALSE(registry.redeem(registry.issueToken(100), QStringLiteral("late"), 400.5, now)) << "an expired token";
    EXPECT_FALSE(registry.redeem(QStringLiteral("AAAAAAAAAAAAAAAAAAAAAA"), QStringLiteral("guess"), 100, now));

    const auto stored = BrowserRegistry::fromJson(registry.toJson());
    ASSERT_TRUE(stored);
    ASSERT_EQ(stored->browsers().size(), 1);
    EXPECT_EQ(stored->browsers()[0].secret, browser->secret);
    EXPECT_EQ(stored->browsers()[0].lastSeen, now);
    EXPECT_FALSE(BrowserRegistry::fromJson(R"({"browsers":[{"id":"x","secret":"00"}]})"));
}

TEST(BrowserProof, agreesWithAnIndependentHmacAndTellsTheSidesApart) {
    QByteArray secret, hostNonce, pageNonce;
    for (int i = 0; i < 32; ++i) {
        secret.append(static_cast<char>(i));
        hostNonce.append(static_cast<char>(0xa0 + i % 16));
        pageNonce.append(static_cast<char>(0x10 + i));
    }
    // openssl dgst -sha256 -mac HMAC -macopt hexkey:<secret> over label || nonce || nonce.
    EXPECT_EQ(BrowserProof::page(secret, hostNonce, pageNonce).toHex(),
              "2955991da2f114ec3ab84002d39fd0f8562ab3bd09e12430c78d0700aa2ed841");
    EXPECT_EQ(BrowserProof::host(secret, pageNonce, hostNonce).toHex(),
              "2dfd5821e7acb65268e9a934cc65784e97cce65fd4f7132dd3f2b661e9946205");
    const QByteArray proof = BrowserProof::page(secret, hostNonce, pageNonce);
    EXPECT_TRUE(BrowserProof::matches(proof, proof));
    EXPECT_FALSE(BrowserProof::matches(proof, proof.left(31)));
    EXPECT_FALSE(BrowserProof::matches({}, {}));
}
