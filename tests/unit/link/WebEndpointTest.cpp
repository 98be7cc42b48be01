// The browser endpoint on loopback with real TLS: the page's files, what it refuses, and browser
// pairing and authentication over a real WebSocket client and over an event stream with POSTs.
// openssl s_client checks the certificate from outside.

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QWebSocket>

#include <functional>
#include <memory>

#include "support/EventWait.h"
#include "web/BrowserProof.h"
#include "web/BrowserRegistry.h"
#include "web/WebEndpoint.h"
#include "web/BrowserLink.h"

using namespace quillvane;

namespace {

constexpr int kGenerousMs = 10000;
const QByteArray kPageNonce(32, '\x42');

// A TLS connection: a plain request, the event stream, or the connection the page POSTs on.
struct Connection {
    QSslSocket socket;
    QByteArray received;
    quint16 port;
    explicit Connection(quint16 endpointPort, const QString& from = QStringLiteral("127.0.0.1")) : port(endpointPort) {
        QObject::connect(&socket, &QSslSocket::sslErrors, &socket, [this] { socket.ignoreSslErrors(); });
        QObject::connect(&socket, &QSslSocket::readyRead, &socket, [this] { received += socket.readAll(); });
        socket.bind(QHostAddress(from));
        socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
    }
    // The events' data so far, as JSON.
    std::vector<QJsonObject> events() const {
        std::vector<QJsonObject> found;
        for (const QByteArray& block : received.split('\n'))
            if (block.startsWith("data: "))
                found.push_back(QJsonDocument::fromJson(block.mid(6)).object());
        return found;
    }
    bool awaitEvents(std::size_t count) {
        return testing_support::waitUntil([&] { return events().size() >= count; }, kGenerousMs);
    }
    // Posts `body` to the link `id` and returns the status line of the answer.
    QByteArray post(const QString& id, const QByteArray& body, const QByteArray& origin) {
        received.clear();
        socket.write("POST /link/" + id.toLatin1() + " HTTP/1.1\r\nHost: 127.0.0.1:" +
                     QByteArray::number(port) + "\r\nOrigin: " + origin +
                     "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
        testing_support::waitUntil([&] { return received.contains("\r\n\r\n"); }, kGenerousMs);
        return received.left(received.indexOf("\r\n"));
    }
};

class WebEndpointTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_files.isValid());
        QFile index(m_files.filePath(QStringLiteral("index.html")));
        ASSERT_TRUE(index.open(QIODevice::WriteOnly));
        index.write("<!doctype html><script type=module src=app.js></script>");
        index.close();
        m_endpoint = std::make_unique<WebEndpoint>(WebIdentity::create(QStringLiteral("Test")), m_registry,
                                                   [this] { return m_now; }, m_files.path());
        m_endpoint->onLink = [this](BrowserLink* link) {
            m_links.emplace_back(link);
            link->onMessage = [this](const WireMessage& message) { m_received.push_back(message); };
            link->start();
        };
        ASSERT_TRUE(m_endpoint->listen(0));
        m_origin = QStringLiteral("https://127.0.0.1:%1").arg(m_endpoint->port());
    }

    // One raw request over TLS; the whole answer, once the endpoint closed or went quiet. The
    // endpoint answers on this thread, so the client waits in the event loop, never blocking it.
    QByteArray fetch(const QByteArray& request) {
        Connection connection(m_endpoint->port());
        connection.socket.write(request);
        // A kept-alive connection ends by the client after a quiet while.
        if (!testing_support::waitUntil([&] { return connection.socket.state() == QAbstractSocket::UnconnectedState; }, 2000))
            connection.socket.abort();
        return connection.received;
    }

    struct Page {
        QWebSocket socket;
        std::vector<QJsonObject> steps;
        bool closed = false;
        Page(const QString& origin, quint16 port) : socket(origin) {
            QObject::connect(&socket, &QWebSocket::sslErrors, &socket, [this] { socket.ignoreSslErrors(); });
            QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                             [this](const QString& text) { steps.push_back(QJsonDocument::fromJson(text.toUtf8()).object()); });
            QObject::connect(&socket, &QWebSocket::disconnected, &socket, [this] { closed = true; });
            socket.open(QUrl(QStringLiteral("wss://127.0.0.1:%1/ws").arg(port)));
        }
        bool awaitStep(std::size_t count) {
            return testing_support::waitUntil([&] { return steps.size() >= count || closed; }, kGenerousMs) && steps.size() >= count;
        }
        QString type(std::size_t i) const { return steps.at(i).value(QStringLiteral("type")).toString(); }
        void send(const QJsonObject& step) { socket.sendTextMessage(QString::fromUtf8(QJsonDocument(step).toJson())); }
    };

    std::unique_ptr<Page> open(const QString& origin) { return std::make_unique<Page>(origin, m_endpoint->port()); }

    // A new page that answers the host's challenge with `reply(challenge)`, once the host answered.
    std::unique_ptr<Page> answer(const std::function<QJsonObject(const QByteArray&)>& reply) {
        auto page = open(m_origin);
        if (page->awaitStep(1)) {
            page->send(reply(bytesAt(page->steps[0], "nonce")));
            page->awaitStep(2);
        }
        return page;
    }
    static QJsonObject pairStep(const QString& token) {
        return {{QStringLiteral("type"), QStringLiteral("pair")}, {QStringLiteral("token"), token}};
    }
    // The page's proof of `secret` for the challenge `hostNonce`, with the page's own nonce.
    static QJsonObject proof(const QString& id, const QByteArray& secret, const QByteArray& hostNonce) {
        return {{QStringLiteral("type"), QStringLiteral("prove")},
                {QStringLiteral("id"), id},
                {QStringLiteral("nonce"), QString::fromLatin1(kPageNonce.toBase64())},
                {QStringLiteral("proof"), QString::fromLatin1(BrowserProof::page(secret, hostNonce, kPageNonce).toBase64())}};
    }
    static QByteArray bytesAt(const QJsonObject& step, const char* key) {
        return QByteArray::fromBase64(step.value(QLatin1String(key)).toString().toLatin1());
    }

    QTemporaryDir m_files;
    BrowserRegistry m_registry;
    double m_now = 1000;
    std::unique_ptr<WebEndpoint> m_endpoint;
    std::vector<std::unique_ptr<BrowserLink>> m_links;
    std::vector<WireMessage> m_received;
    QString m_origin;
};

TEST_F(WebEndpointTest, servesOnlyThePageFilesWithAStrictPolicyOnAnEcdsaCertificate) {
    const QByteArray page = fetch("GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    EXPECT_TRUE(page.startsWith("HTTP/1.1 200 OK\r\n")) << page.left(200).toStdString();
    EXPECT_TRUE(page.contains("Content-Security-Policy: default-src 'none'; script-src 'self' 'wasm-unsafe-eval'"));
    EXPECT_TRUE(page.contains("Content-Type: text/html; charset=utf-8"));
    EXPECT_TRUE(page.endsWith("<script type=module src=app.js></script>"));
    // Two requests on one connection, the second for a file that is not there.
    const QByteArray both = fetch("GET /index.html HTTP/1.1\r\nHost: h\r\n\r\nGET /../etc/passwd HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_EQ(both.count("HTTP/1.1 200 OK"), 1);
    EXPECT_TRUE(both.contains("HTTP/1.1 404 Not Found")) << both.toStdString();
    EXPECT_TRUE(fetch("DELETE / HTTP/1.1\r\nHost: h\r\n\r\n").startsWith("HTTP/1.1 405"));
    EXPECT_TRUE(fetch("GET /ws HTTP/1.1\r\nHost: h\r\n\r\n").startsWith("HTTP/1.1 426"));
    EXPECT_TRUE(fetch("GET /link HTTP/1.1\r\nHost: h\r\nOrigin: https://evil.example\r\n\r\n").startsWith("HTTP/1.1 403"));

    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), {QStringLiteral("s_client"), QStringLiteral("-connect"),
                                              QStringLiteral("127.0.0.1:%1").arg(m_endpoint->port())});
    openssl.closeWriteChannel();
    ASSERT_TRUE(testing_support::waitUntil([&] { return openssl.state() == QProcess::NotRunning; }, kGenerousMs));
    const QString seen = QString::fromUtf8(openssl.readAllStandardOutput());
    EXPECT_TRUE(seen.contains(QStringLiteral("Server public key is 256 bit"))) << seen.toStdString();
    EXPECT_TRUE(seen.contains(QStringLiteral("CN = Quillvane Test")));
}

TEST_F(WebEndpointTest, aTokenPairsABrowserOnceAndOnlyAFreshProofOfAKnownBrowserPasses) {
    const QString token = m_registry.issueToken(m_now);
    auto page = answer([&](const QByteArray&) { return pairStep(token); });
    ASSERT_EQ(page->type(0), QStringLiteral("challenge"));
    ASSERT_EQ(page->type(1), QStringLiteral("credential"));
    const QString id = page->steps[1].value(QStringLiteral("id")).toString();
    const QByteArray secret = bytesAt(page->steps[1], "secret");
    const QByteArray hostNonce = bytesAt(page->steps[0], "nonce");
    page->send(proof(id, secret, hostNonce));
    ASSERT_TRUE(page->awaitStep(3));
    ASSERT_EQ(page->type(2), QStringLiteral("proven"));
    // The computer's proof, checked here too: without it only a browser would notice a wrong one.
    EXPECT_EQ(bytesAt(page->steps[2], "proof"), BrowserProof::host(secret, kPageNonce, hostNonce));
    ASSERT_EQ(m_links.size(), 1);
    EXPECT_TRUE(m_links[0]->isAuthenticated());

    // The same token again, a replayed proof on a new socket, and a revoked browser.
    auto again = answer([&](const QByteArray&) { return pairStep(token); });
    EXPECT_EQ(again->type(1), QStringLiteral("refused"));
    EXPECT_TRUE(testing_support::waitUntil([&] { return again->closed; }, kGenerousMs));
    EXPECT_EQ(answer([&](const QByteArray&) { return proof(id, secret, hostNonce); })->type(1), QStringLiteral("refused"))
        << "a proof for another challenge passed";
    m_registry.revoke(id);
    m_endpoint->closeBrowser(id);
    EXPECT_TRUE(testing_support::waitUntil([&] { return page->closed; }, kGenerousMs)) << "a revoked browser stayed connected";
    EXPECT_EQ(answer([&](const QByteArray& challenge) { return proof(id, secret, challenge); })->type(1), QStringLiteral("refused"));
}

TEST_F(WebEndpointTest, refusesAForeignOriginAnExpiredTokenAndASocketThatNeverProves) {
    auto foreign = open(QStringLiteral("https://evil.example"));
    EXPECT_TRUE(testing_support::waitUntil([&] { return foreign->closed; }, kGenerousMs));
    EXPECT_TRUE(foreign->steps.empty());
    EXPECT_TRUE(m_links.empty()) << "a foreign page got a WebSocket";

    const QString token = m_registry.issueToken(m_now);
    m_now += BrowserRegistry::kTokenLifetime + 1;
    EXPECT_EQ(answer([&](const QByteArray&) { return pairStep(token); })->type(1), QStringLiteral("refused"));

    auto silent = open(m_origin);
    ASSERT_TRUE(silent->awaitStep(1));
    EXPECT_TRUE(testing_support::waitUntil([&] { return silent->closed; }, kGenerousMs)) << "an unproven socket stayed open";
    EXPECT_EQ(silent->type(silent->steps.size() - 1), QStringLiteral("refused"));
}

TEST_F(WebEndpointTest, aBrowserWithoutWebSocketsPairsAndSpeaksOverAnEventStreamAndPosts) {
    const QString token = m_registry.issueToken(m_now);
    Connection stream(m_endpoint->port());
    stream.socket.write("GET /link HTTP/1.1\r\nHost: h\r\nAccept: text/event-stream\r\n\r\n");
    ASSERT_TRUE(stream.awaitEvents(1));
    EXPECT_TRUE(stream.received.startsWith("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"));
    const QString link = stream.events()[0].value(QStringLiteral("link")).toString();
    ASSERT_EQ(link.size(), 22);
    const QByteArray hostNonce = bytesAt(stream.events()[0], "nonce");

    const QByteArray origin = m_origin.toLatin1();
    const QByteArray pair = QJsonDocument(pairStep(token)).toJson(QJsonDocument::Compact);
    EXPECT_EQ(Connection(m_endpoint->port()).post(link, pair, "https://evil.example"), "HTTP/1.1 403 Forbidden");
    EXPECT_EQ(Connection(m_endpoint->port()).post(QString(22, QLatin1Char('A')), pair, origin), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(Connection(m_endpoint->port(), QStringLiteral("127.0.0.2")).post(link, pair, origin), "HTTP/1.1 404 Not Found")
        << "another host posted to the link";
    Connection page(m_endpoint->port());
    EXPECT_EQ(page.post(link, pair, origin), "HTTP/1.1 204 No Content");
    ASSERT_TRUE(stream.awaitEvents(2));
    const QString id = stream.events()[1].value(QStringLiteral("id")).toString();
    const QByteArray secret = bytesAt(stream.events()[1], "secret");
    EXPECT_EQ(page.post(link, QJsonDocument(proof(id, secret, hostNonce)).toJson(QJsonDocument::Compact), origin),
              "HTTP/1.1 204 No Content");
    ASSERT_TRUE(stream.awaitEvents(3));
    EXPECT_EQ(stream.events()[2].value(QStringLiteral("type")).toString(), QStringLiteral("proven"));
    ASSERT_EQ(m_links.size(), 1);
    EXPECT_TRUE(m_links[0]->isAuthenticated());

    // A flood of new connections does not end the one the page posts on; texts of one POST
    // arrive in order.
    std::vector<std::unique_ptr<Connection>> flood;
    for (std::size_t i = 0; i <= WebEndpoint::kMaximumPending; ++i)
        flood.push_back(std::make_unique<Connection>(m_endpoint->port()));
    testing_support::waitUntil([&] { return flood.back()->socket.isEncrypted(); }, kGenerousMs);
    EXPECT_EQ(page.post(link, R"({"kind":"heartbeat","version":1})" "\n" R"({"kind":"text","version":1,"text":"a"})", origin),
              "HTTP/1.1 204 No Content");
    ASSERT_TRUE(testing_support::waitUntil([&] { return m_received.size() == 2; }, kGenerousMs));
    EXPECT_EQ(m_received[0].kind, WireMessage::Kind::heartbeat);
    EXPECT_EQ(m_received[1].kind, WireMessage::Kind::text);

    // The page goes away: its stream ends, and so does the link.
    stream.socket.abort();
    EXPECT_TRUE(testing_support::waitUntil([&] { return m_links[0]->isClosed(); }, kGenerousMs));
    EXPECT_EQ(page.post(link, pair, origin), "HTTP/1.1 404 Not Found");
}

} // namespace
