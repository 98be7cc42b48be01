// SecureLink and its listener over real sockets and TLS on loopback: an in-process client written
// independently of SecureLink::parameters, and the openssl command line as an outside peer.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

#include <QElapsedTimer>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QProcess>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslPreSharedKeyAuthenticator>
#include <QSslSocket>
#include <QTcpSocket>

#include "net/LinkListener.h"
#include "net/SecureLink.h"
#include "protocol/FrameCodec.h"
#include "protocol/FrameDecoder.h"
#include "support/EventWait.h"

using namespace quillvane;

namespace {

// Everything here happens on loopback; this bound only keeps a broken build from hanging.
constexpr int kGenerousMs = 20000;

// What a controller offers as PSK identity: the pairing id as upper-case text, written out here
// rather than derived, so the tests do not share the link's idea of it.
const QByteArray kIdentity("3F2504E0-4F89-41D3-9A0C-0305E82C3301");
const Uuid kPairingId = *Uuid::parse("3f2504e0-4f89-41d3-9a0c-0305e82c3301");

SecureLink::Key pairingKey() {
    SecureLink::Key key{};
    std::iota(key.begin(), key.end(), std::uint8_t{0xC0});
    return key;
}

// Any byte container (a key, an encoded frame) as Qt bytes.
template <typename Container> QByteArray bytesOf(const Container& bytes) {
    return QByteArray(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<qsizetype>(bytes.size()));
}

QByteArray frameOf(const WireMessage& message) {
    return bytesOf(FrameCodec::encode(message));
}

// A text message whose frame is exactly `frameSize` bytes.
WireMessage sizedMessage(std::size_t frameSize) {
    WireMessage message(WireMessage::Kind::text);
    message.text = "";
    message.text = std::string(frameSize - FrameCodec::encode(message).size(), 'x');
    return message;
}

// A listener on the real path (every address, system port) whose first connection becomes a
// started link; the link's callbacks are recorded.
class LinkHarness {
public:
    explicit LinkHarness(std::chrono::milliseconds readyDeadline = SecureLink::kReadyDeadline)
        : m_listener(SecureLink::parameters(kPairingId, pairingKey()), readyDeadline) {
        m_listener.onConnection = [this](qintptr descriptor) { accept(descriptor); };
        EXPECT_TRUE(m_listener.listen()) << m_listener.errorString().toStdString();
    }

    quint16 port() const { return m_listener.serverPort(); }
    SecureLink& link() const { return *m_link; }

    // Waits until `condition` holds; gives up as soon as the link closed.
    bool waitFor(const std::function<bool()>& condition) {
        return testing_support::waitUntil([&] { return condition() || !closes.empty(); },
                                          kGenerousMs) &&
               condition();
    }
    bool waitForReady() {
        return waitFor([&] { return readyCount > 0; });
    }
    bool waitForClose() {
        return waitFor([&] { return !closes.empty(); });
    }
    QString closeReason() const {
        return closes.empty() || !closes.front() ? QString() : *closes.front();
    }

    // For a test that acts on the link right after start().
    std::function<void(SecureLink&)> afterStart;

    int readyCount = 0;
    std::vector<WireMessage> messages;
    std::vector<std::optional<QString>> closes;

private:
    void accept(qintptr descriptor) {
        m_link.reset(m_listener.wrap(descriptor));
        ASSERT_NE(m_link, nullptr);
        m_link->onReady = [this] { ++readyCount; };
        m_link->onMessage = [this](const WireMessage& message) { messages.push_back(message); };
        m_link->onClose = [this](const std::optional<QString>& reason) {
            closes.push_back(reason);
        };
        m_link->start();
        if (afterStart)
            afterStart(*m_link);
    }

    LinkListener m_listener;
    std::unique_ptr<SecureLink> m_link;
};

// The controller's side, written independently of SecureLink::parameters.
std::unique_ptr<QSslSocket> pskClient(quint16 port) {
    auto socket = std::make_unique<QSslSocket>();
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::TlsV1_2);
    configuration.setCiphers({QSslCipher(QStringLiteral("PSK-AES128-GCM-SHA256"))});
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    socket->setSslConfiguration(configuration);
    QObject::connect(
        socket.get(), &QSslSocket::preSharedKeyAuthenticationRequired, socket.get(),
        [](QSslPreSharedKeyAuthenticator* authenticator) {
            authenticator->setIdentity(kIdentity);
            authenticator->setPreSharedKey(bytesOf(pairingKey()));
        },
        Qt::DirectConnection);
    socket->connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
    return socket;
}

// A link that finished its handshake with an in-process client, which collects what it receives.
struct ReadyPair : LinkHarness {
    explicit ReadyPair(std::chrono::milliseconds deadline = SecureLink::kReadyDeadline,
                       std::function<void(SecureLink&)> onStart = {})
        : LinkHarness(deadline) {
        afterStart = std::move(onStart);
        client = pskClient(port());
        QObject::connect(client.get(), &QSslSocket::readyRead, client.get(), [this] {
            const QByteArray bytes = client->readAll();
            for (auto& message :
                 decoder.append(std::span(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                          static_cast<std::size_t>(bytes.size()))))
                received.push_back(std::move(message));
        });
        // The client finishes its handshake a moment after the link does.
        ready = waitForReady() &&
                testing_support::waitUntil([&] { return client->isEncrypted(); }, kGenerousMs);
    }

    bool clientDisconnected() const {
        return testing_support::waitUntil(
            [&] { return client->state() == QAbstractSocket::UnconnectedState; }, kGenerousMs);
    }

    std::unique_ptr<QSslSocket> client;
    FrameDecoder decoder;
    std::vector<WireMessage> received;
    bool ready = false;
};

// `openssl s_client` as a controller that shares none of our code, offering our PSK suite with
// this identity and key unless other options are given; frames go in on stdin.
struct OpensslClient {
    OpensslClient(quint16 port, QStringList options) {
        const QString connect = QStringLiteral("s_client -quiet -connect 127.0.0.1:%1").arg(port);
        process.start(QStringLiteral("openssl"), connect.split(QLatin1Char(' ')) + options);
        EXPECT_TRUE(process.waitForStarted()) << "openssl (scripts/bootstrap installs it)";
    }
    static QStringList psk(const QByteArray& identity, const QByteArray& key,
                           const QString& protocol = QStringLiteral("-tls1_2")) {
        return QStringLiteral("%1 -cipher PSK-AES128-GCM-SHA256 -psk_identity %2 -psk %3")
            .arg(protocol, QString::fromLatin1(identity), QString::fromLatin1(key.toHex()))
            .split(QLatin1Char(' '));
    }
    ~OpensslClient() {
        process.kill();
        process.waitForFinished(kGenerousMs);
    }

    QProcess process;
};

} // namespace

TEST(SecureLink, closesAPlainPeerAtOnceAndASilentOneAtTheIdentityDeadline) {
    for (const QByteArray& bytes : {QByteArray("GET / HTTP/1.1\r\n\r\n"), QByteArray()}) {
        SCOPED_TRACE(bytes.isEmpty() ? "silent" : "plain");
        // A ready deadline beyond every wait here: only the identity deadline can end silence.
        LinkHarness harness(std::chrono::minutes(1));
        QTcpSocket client;
        client.connectToHost(QStringLiteral("127.0.0.1"), harness.port());
        client.write(bytes);
        ASSERT_TRUE(harness.waitForClose());
        EXPECT_EQ(harness.readyCount, 0);
        EXPECT_FALSE(harness.closeReason().isEmpty());
        EXPECT_EQ(harness.closeReason() == QStringLiteral("连接超时，请检查配对码和网络"),
                  bytes.isEmpty());
    }
}

// Which frames the decoder refuses, and with which text, is the protocol test's.
TEST(SecureLink, closesOnAFrameItCannotTakeAndDeliversNoneOfItsChunk) {
    // The codec writes only its own version, so a newer one is edited into a frame it wrote.
    const QByteArray newer = frameOf(WireMessage(WireMessage::Kind::heartbeat))
                                 .replace(R"("version":1)", R"("version":2)");
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    pair.client->write(frameOf(sizedMessage(41)) + newer);
    ASSERT_TRUE(pair.waitForClose());
    EXPECT_EQ(pair.closeReason(), QStringLiteral("两端协议版本不一致，请更新应用"));
    EXPECT_TRUE(pair.messages.empty());
    EXPECT_TRUE(pair.clientDisconnected());
}

TEST(SecureLink, sendsOnlyWhileReadyOutlivesTheDeadlineAndReportsOneClose) {
    ReadyPair pair(std::chrono::milliseconds(1000), [](SecureLink& link) {
        link.send(sizedMessage(41));
        EXPECT_EQ(link.outstanding(), 0);
    });
    ASSERT_TRUE(pair.ready);
    testing_support::runFor(std::chrono::milliseconds(1500));
    pair.link().send(sizedMessage(42));
    ASSERT_TRUE(testing_support::waitUntil([&] { return !pair.received.empty(); }, kGenerousMs));
    EXPECT_TRUE(pair.closes.empty());

    pair.link().close();
    pair.link().close(QStringLiteral("second"));
    EXPECT_EQ(pair.closes, std::vector<std::optional<QString>>{std::nullopt});
    EXPECT_FALSE(pair.link().onReady || pair.link().onMessage || pair.link().onClose);
    pair.link().send(sizedMessage(43));
    EXPECT_TRUE(pair.clientDisconnected());
    EXPECT_EQ(pair.received, std::vector{sizedMessage(42)});
}

TEST(SecureLink, closeInsideOnMessageStopsDelivery) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    pair.link().onMessage = [&](const WireMessage& message) {
        pair.messages.push_back(message);
        pair.link().close(QStringLiteral("handled"));
    };
    // The small frames share one record with the first; the large ones arrive in later reads.
    QByteArray bytes =
        frameOf(sizedMessage(41)) + frameOf(sizedMessage(42)) + frameOf(sizedMessage(43));
    for (int i = 0; i < 4; ++i)
        bytes += frameOf(sizedMessage(40000));
    pair.client->write(bytes);
    ASSERT_TRUE(pair.waitForClose());
    testing_support::runFor(std::chrono::milliseconds(100));
    EXPECT_EQ(pair.messages, std::vector{sizedMessage(41)});
    EXPECT_EQ(pair.closes, (std::vector<std::optional<QString>>{QStringLiteral("handled")}));
}

TEST(SecureLink, deliversAFinalChunkBeforeClosing) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    std::vector<std::size_t> seenAtClose;
    pair.link().onClose = [&](const std::optional<QString>& reason) {
        seenAtClose.push_back(pair.messages.size());
        pair.closes.push_back(reason);
    };
    pair.client->write(frameOf(sizedMessage(41)) + frameOf(sizedMessage(42)));
    pair.client->disconnectFromHost();
    ASSERT_TRUE(pair.waitForClose());
    EXPECT_EQ(pair.messages, (std::vector{sizedMessage(41), sizedMessage(42)}));
    EXPECT_EQ(seenAtClose, std::vector<std::size_t>{2});
    EXPECT_EQ(pair.closeReason(), QStringLiteral("连接已关闭"));
}

TEST(SecureLink, allowsExactlyTheOutstandingCapAndDropsAPeerThatStopsReading) {
    LinkHarness harness;
    auto client = pskClient(harness.port());
    // The client takes at most this much and then leaves the rest in the kernel.
    client->setReadBufferSize(4096);
    ASSERT_TRUE(harness.waitForReady());
    SecureLink& link = harness.link();
    ASSERT_TRUE(testing_support::waitUntil([&] { return link.outstanding() == 0; }, kGenerousMs));
    for (int i = 0; i < 4; ++i)
        link.send(sizedMessage(SecureLink::kMaximumOutstanding / 4));
    EXPECT_EQ(link.outstanding(), SecureLink::kMaximumOutstanding);
    EXPECT_FALSE(link.isClosed());

    std::int64_t highest = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    while (!link.isClosed() && elapsed.elapsed() < kGenerousMs) {
        testing_support::runFor(std::chrono::milliseconds(1));
        highest = std::max(highest, link.outstanding());
        link.send(sizedMessage(60000));
    }
    EXPECT_EQ(harness.closeReason(), QStringLiteral("网络发送积压，请重新连接"));
    EXPECT_LE(highest, SecureLink::kMaximumOutstanding);
}

TEST(SecureLinkOpenssl, takesFramesFromAPeerWithTheRightKeyAndIdentity) {
    LinkHarness harness;
    OpensslClient client(harness.port(), OpensslClient::psk(kIdentity, bytesOf(pairingKey())));
    ASSERT_TRUE(harness.waitForReady()) << harness.closeReason().toStdString()
                                        << client.process.readAllStandardError().toStdString();
    const WireMessage largest = sizedMessage(FrameCodec::prefixSize + FrameCodec::maximumSize);
    client.process.write(frameOf(largest));
    ASSERT_TRUE(harness.waitFor([&] { return !harness.messages.empty(); }))
        << harness.closeReason().toStdString();
    EXPECT_EQ(harness.messages, std::vector{largest});
}

TEST(SecureLinkOpenssl, refusesEveryOtherHandshake) {
    const QByteArray key = bytesOf(pairingKey());
    const std::pair<const char*, QStringList> cases[] = {
        {"wrong key", OpensslClient::psk(kIdentity, QByteArray(key).replace(31, 1, "x"))},
        {"lower-case identity", OpensslClient::psk(kIdentity.toLower(), key)},
        {"TLS 1.3", OpensslClient::psk(kIdentity, key, QStringLiteral("-tls1_3"))},
        {"certificate suite",
         QStringLiteral("-tls1_2 -cipher ECDHE-RSA-AES128-GCM-SHA256").split(QLatin1Char(' '))},
    };
    for (const auto& [name, options] : cases) {
        SCOPED_TRACE(name);
        LinkHarness harness;
        OpensslClient client(harness.port(), options);
        ASSERT_TRUE(harness.waitForClose());
        EXPECT_EQ(harness.readyCount, 0);
        EXPECT_FALSE(harness.closeReason().isEmpty());
        EXPECT_NE(harness.closeReason(), QStringLiteral("连接超时，请检查配对码和网络"));
    }
}

TEST(LinkListener, takesEveryAddressAndClosesWhatItRefuses) {
    LinkListener listener(SecureLink::parameters(kPairingId, pairingKey()));
    int accepted = 0;
    listener.onConnection = [&](qintptr descriptor) {
        ++accepted;
        LinkListener::refuse(descriptor);
    };
    ASSERT_TRUE(listener.listen()) << listener.errorString().toStdString();
    // The IPv4 path is taken by every other link test.
    if (!QNetworkInterface::allAddresses().contains(QHostAddress(QHostAddress::LocalHostIPv6)))
        GTEST_SKIP() << "no IPv6 loopback here";
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHostIPv6, listener.serverPort());
    EXPECT_TRUE(testing_support::waitUntil(
        [&] { return accepted == 1 && client.state() == QAbstractSocket::UnconnectedState; },
        kGenerousMs));
}
