#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include <QElapsedTimer>
#include <QSslCipher>
#include <QSslConfiguration>
#include <QSslPreSharedKeyAuthenticator>
#include <QSslSocket>
#include <QTcpSocket>

#include "LinkTestSupport.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

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
struct ReadyPair {
    explicit ReadyPair(std::chrono::milliseconds deadline = SecureLink::kReadyDeadline,
                       std::function<void(SecureLink&)> afterStart = {})
        : harness(deadline) {
        harness.afterStart = std::move(afterStart);
        client = pskClient(harness.port());
        QObject::connect(client.get(), &QSslSocket::readyRead, client.get(),
                         [this] { received.take(client->readAll()); });
        // The client finishes its handshake a moment after the link does.
        ready = harness.waitForReady() &&
                testing_support::waitUntil([&] { return client->isEncrypted(); }, kGenerousMs);
    }

    SecureLink& link() const { return *harness.link(); }
    bool clientDisconnected() const {
        return testing_support::waitUntil([&] { return client->state() == QAbstractSocket::UnconnectedState; },
                               kGenerousMs);
    }

    LinkHarness harness;
    std::unique_ptr<QSslSocket> client;
    FrameCollector received;
    bool ready = false;
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

TEST(SecureLink, closesOnAFrameItCannotTakeAndDeliversNoneOfItsChunk) {
    constexpr std::string_view newer = R"({"kind":"heartbeat","version":2})";
    const std::pair<QByteArray, QString> cases[] = {
        {rawFrame(0x10001, ""), QStringLiteral("无效消息长度")},
        {rawFrame(newer.size(), newer), QStringLiteral("两端协议版本不一致，请更新应用")},
    };
    for (const auto& [bytes, reason] : cases) {
        SCOPED_TRACE(reason.toStdString());
        ReadyPair pair;
        ASSERT_TRUE(pair.ready);
        pair.client->write(frameOf(sizedMessage(41)) + bytes);
        ASSERT_TRUE(pair.harness.waitForClose());
        EXPECT_EQ(pair.harness.closeReason(), reason);
        EXPECT_TRUE(pair.harness.messages.empty());
        EXPECT_TRUE(pair.clientDisconnected());
    }
}

TEST(SecureLink, sendsOnlyWhileReadyOutlivesTheDeadlineAndReportsOneClose) {
    ReadyPair pair(std::chrono::milliseconds(1000), [](SecureLink& link) {
        link.send(sizedMessage(41));
        EXPECT_EQ(link.outstanding(), 0);
    });
    ASSERT_TRUE(pair.ready);
    testing_support::runFor(std::chrono::milliseconds(1500));
    pair.link().send(sizedMessage(42));
    ASSERT_TRUE(testing_support::waitUntil([&] { return !pair.received.messages.empty(); }, kGenerousMs));
    EXPECT_TRUE(pair.harness.closes.empty());

    pair.link().close();
    pair.link().close(QStringLiteral("second"));
    EXPECT_EQ(pair.harness.closes, std::vector<std::optional<QString>>{std::nullopt});
    EXPECT_FALSE(pair.link().onReady || pair.link().onMessage || pair.link().onClose);
    pair.link().send(sizedMessage(43));
    EXPECT_TRUE(pair.clientDisconnected());
    EXPECT_EQ(pair.received.messages, std::vector{sizedMessage(42)});
}

TEST(SecureLink, closeInsideOnMessageStopsDelivery) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    pair.harness.afterMessage = [](SecureLink& link, const WireMessage&) {
        link.close(QStringLiteral("handled"));
    };
    // The small frames share one record with the first; the large ones arrive in later reads.
    QByteArray bytes =
        frameOf(sizedMessage(41)) + frameOf(sizedMessage(42)) + frameOf(sizedMessage(43));
    for (int i = 0; i < 4; ++i)
        bytes += frameOf(sizedMessage(40000));
    pair.client->write(bytes);
    ASSERT_TRUE(pair.harness.waitForClose());
    testing_support::runFor(std::chrono::milliseconds(100));
    EXPECT_EQ(pair.harness.messages, std::vector{sizedMessage(41)});
    EXPECT_EQ(pair.harness.closes,
              (std::vector<std::optional<QString>>{QStringLiteral("handled")}));
}

TEST(SecureLink, deliversAFinalChunkBeforeClosing) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    std::vector<std::size_t> seenAtClose;
    pair.link().onClose = [&](const std::optional<QString>& reason) {
        seenAtClose.push_back(pair.harness.messages.size());
        pair.harness.closes.push_back(reason);
    };
    pair.client->write(frameOf(sizedMessage(41)) + frameOf(sizedMessage(42)));
    pair.client->disconnectFromHost();
    ASSERT_TRUE(pair.harness.waitForClose());
    EXPECT_EQ(pair.harness.messages, (std::vector{sizedMessage(41), sizedMessage(42)}));
    EXPECT_EQ(seenAtClose, std::vector<std::size_t>{2});
    EXPECT_EQ(pair.harness.closeReason(), QStringLiteral("连接已关闭"));
}

TEST(SecureLink, allowsExactlyTheOutstandingCapAndDropsAPeerThatStopsReading) {
    LinkHarness harness;
    auto client = pskClient(harness.port());
    // The client takes at most this much and then leaves the rest in the kernel.
    client->setReadBufferSize(4096);
    ASSERT_TRUE(harness.waitForReady());
    SecureLink& link = *harness.link();
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
