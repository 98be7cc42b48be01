#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include <QElapsedTimer>
#include <QPointer>
#include <QTcpSocket>

#include "LinkTestSupport.h"
#include "pairing/PairingProfile.h"
#include "protocol/PadError.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

const QString kTimeout = QStringLiteral("连接超时，请检查配对码和网络");

WireMessage heartbeat() {
    return WireMessage(WireMessage::Kind::heartbeat);
}

WireMessage welcome(double interval) {
    WireMessage message(WireMessage::Kind::welcome);
    message.doubleClickInterval = interval;
    return message;
}

WireMessage move(double x) {
    WireMessage message(WireMessage::Kind::move);
    message.movementSamples = std::vector<TrackpadVector>{{x, -x}};
    return message;
}

std::unique_ptr<QTcpSocket> plainClient(quint16 port) {
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QStringLiteral("127.0.0.1"), port);
    return socket;
}

// A link that finished its handshake with an in-process client.
struct ReadyPair {
    explicit ReadyPair(std::chrono::milliseconds deadline = SecureLink::kReadyDeadline)
        : harness(deadline) {
        client = pskClient(harness.port());
        QObject::connect(client.get(), &QSslSocket::readyRead, client.get(),
                         [this] { received.take(client->readAll()); });
        // The client finishes its handshake a moment after the link does.
        ready = harness.waitForReady() &&
                QTest::qWaitFor([&] { return client->isEncrypted(); }, kGenerousMs);
    }

    LinkHarness harness;
    std::unique_ptr<QSslSocket> client;
    FrameCollector received;
    bool ready = false;
};

} // namespace

TEST(SecureLinkParameters, needAKeyAndOfferOnlyTheUpperCaseIdentity) {
    try {
        SecureLink::parameters(pairingId(), std::nullopt);
        FAIL() << "no error";
    } catch (const PadError& error) {
        EXPECT_EQ(error.message(), "无效配对密钥");
    }
    PairingProfile profile{pairingId(), "Desk", std::string(64, 'G')};
    EXPECT_THROW(SecureLink::parameters(profile), PadError);

    profile.secret = bytesOf(pairingKey()).toHex().toStdString();
    const auto parameters = SecureLink::parameters(profile);
    // The id was parsed from lower case; the identity is always the upper-case text.
    EXPECT_EQ(parameters.identity, QByteArray("3F2504E0-4F89-41D3-9A0C-0305E82C3301"));
    EXPECT_EQ(parameters.key, bytesOf(pairingKey()));
    // A cipher name Qt does not know would leave an empty, useless entry.
    ASSERT_EQ(parameters.configuration.ciphers().size(), 1);
    EXPECT_EQ(parameters.configuration.ciphers().front().name(),
              QStringLiteral("PSK-AES128-GCM-SHA256"));
}

TEST(SecureLink, exchangesFramesWithAPskClient) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready) << pair.harness.closeReason().toStdString();
    SecureLink& link = *pair.harness.link();
    EXPECT_TRUE(link.isReady());
    EXPECT_NE(link.id(), Uuid());
    EXPECT_EQ(pair.client->sessionProtocol(), QSsl::TlsV1_2);
    EXPECT_EQ(pair.client->sessionCipher().name(), QStringLiteral("PSK-AES128-GCM-SHA256"));

    // Replies sent from inside onMessage, as the session answers hello and heartbeat.
    pair.harness.afterMessage = [](SecureLink& link, const WireMessage& message) {
        if (message.kind == WireMessage::Kind::heartbeat)
            link.send(welcome(0.5));
    };
    pair.client->write(frameOf(heartbeat()) + frameOf(move(1.5)) + frameOf(move(2.5)));
    ASSERT_TRUE(pair.harness.waitForMessages(3));
    EXPECT_EQ(pair.harness.messages, (std::vector{heartbeat(), move(1.5), move(2.5)}));

    link.send(heartbeat());
    ASSERT_TRUE(QTest::qWaitFor([&] { return pair.received.messages.size() >= 2; }, kGenerousMs));
    EXPECT_EQ(pair.received.messages, (std::vector{welcome(0.5), heartbeat()}));
    EXPECT_EQ(pair.harness.readyCount, 1);
    EXPECT_TRUE(pair.harness.closes.empty());
}

TEST(SecureLink, reassemblesTheLargestFrame) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    const WireMessage largest =
        messageWithFrameSize(FrameCodec::prefixSize + FrameCodec::maximumSize);
    pair.client->write(frameOf(largest) + frameOf(heartbeat()));
    ASSERT_TRUE(pair.harness.waitForMessages(2)) << pair.harness.closeReason().toStdString();
    EXPECT_EQ(pair.harness.messages, (std::vector{largest, heartbeat()}));
}

TEST(SecureLink, closesOnPlainBytes) {
    LinkHarness harness;
    auto client = plainClient(harness.port());
    client->write("GET / HTTP/1.1\r\nHost: quillvane\r\n\r\n");
    ASSERT_TRUE(harness.waitForClose());
    EXPECT_EQ(harness.readyCount, 0);
    EXPECT_FALSE(harness.closeReason().isEmpty());
    EXPECT_NE(harness.closeReason(), kTimeout);
}

TEST(SecureLink, closesASilentPeerAfterEightSeconds) {
    LinkHarness harness;
    auto client = plainClient(harness.port());
    ASSERT_TRUE(harness.waitForClose());
    EXPECT_EQ(harness.readyCount, 0);
    EXPECT_EQ(harness.closeReason(), kTimeout);
}

TEST(SecureLink, aReadyLinkOutlivesTheDeadline) {
    const std::chrono::milliseconds deadline(1500);
    ReadyPair pair(deadline);
    ASSERT_TRUE(pair.ready);
    QTest::qWait(static_cast<int>(deadline.count()) + 1000);
    EXPECT_TRUE(pair.harness.closes.empty());
    EXPECT_FALSE(pair.harness.link()->isClosed());
}

TEST(SecureLink, closesOnDecoderErrors) {
    QString jsonError;
    try {
        WireMessage::fromJson(R"({"kind":)");
    } catch (const JsonError& error) {
        jsonError = QString::fromUtf8(error.what());
    }
    ASSERT_FALSE(jsonError.isEmpty());
    struct Case {
        QByteArray bytes;
        QString reason;
    };
    const Case cases[] = {
        {rawFrame(0x10001, ""), QStringLiteral("无效消息长度")},
        {jsonFrame(R"({"kind":"heartbeat","version":2})"),
         QStringLiteral("两端协议版本不一致，请更新应用")},
        {jsonFrame(R"({"kind":)"), jsonError},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.reason.toStdString());
        ReadyPair pair;
        ASSERT_TRUE(pair.ready);
        // A good frame first: a failing chunk delivers none of its messages.
        pair.client->write(frameOf(heartbeat()) + c.bytes);
        ASSERT_TRUE(pair.harness.waitForClose());
        EXPECT_EQ(pair.harness.closeReason(), c.reason);
        EXPECT_TRUE(pair.harness.messages.empty());
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return pair.client->state() == QAbstractSocket::UnconnectedState; },
            kGenerousMs));
    }
}

TEST(SecureLink, closesWhenAMessageCannotBeEncoded) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    pair.harness.link()->send(textMessage(std::string(FrameCodec::maximumSize, 'x')));
    ASSERT_EQ(pair.harness.closes.size(), 1u);
    EXPECT_EQ(pair.harness.closeReason(), QStringLiteral("消息过大"));
    EXPECT_EQ(pair.harness.link()->outstanding(), 0);
}

TEST(SecureLink, dropsSendsBeforeReady) {
    LinkHarness harness(SecureLink::kReadyDeadline, /*startOnAccept=*/false);
    auto client = pskClient(harness.port());
    FrameCollector received;
    QObject::connect(client.get(), &QSslSocket::readyRead, client.get(),
                     [&] { received.take(client->readAll()); });
    ASSERT_TRUE(harness.waitForLink());
    SecureLink& link = *harness.link();
    link.send(welcome(0.25));
    EXPECT_EQ(link.outstanding(), 0);

    link.start();
    ASSERT_TRUE(harness.waitForReady());
    link.send(heartbeat());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !received.messages.empty(); }, kGenerousMs));
    QTest::qWait(100);
    EXPECT_EQ(received.messages, std::vector{heartbeat()});
}

TEST(SecureLink, closeReportsOnceAndClearsTheCallbacks) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    SecureLink& link = *pair.harness.link();
    link.close();
    link.close(QStringLiteral("second"));
    EXPECT_EQ(pair.harness.closes, std::vector<std::optional<QString>>{std::nullopt});
    EXPECT_TRUE(link.isClosed());
    EXPECT_FALSE(link.onReady || link.onMessage || link.onClose);

    link.send(heartbeat());
    EXPECT_EQ(link.outstanding(), 0);
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return pair.client->state() == QAbstractSocket::UnconnectedState; }, kGenerousMs));
    EXPECT_TRUE(pair.received.messages.empty());
}

TEST(SecureLink, anOwnerMayReleaseTheLinkFromOnClose) {
    LinkListener listener(SecureLink::parameters(pairingId(), pairingKey()));
    QPointer<SecureLink> link;
    std::optional<QString> reason;
    listener.onConnection = [&](qintptr descriptor) {
        link = listener.wrap(descriptor);
        link->onClose = [&, raw = link.data()](const std::optional<QString>& text) {
            reason = text;
            raw->deleteLater();
        };
        link->start();
    };
    ASSERT_TRUE(listener.listen());
    auto client = pskClient(listener.serverPort());
    ASSERT_TRUE(QTest::qWaitFor([&] { return client->isEncrypted(); }, kGenerousMs));
    // The decoder fails while the socket is still delivering; the release must wait for that.
    client->write(rawFrame(0x10001, ""));
    ASSERT_TRUE(QTest::qWaitFor([&] { return link.isNull(); }, kGenerousMs));
    EXPECT_EQ(reason, QStringLiteral("无效消息长度"));
}

TEST(SecureLink, closeInsideOnMessageStopsDelivery) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    pair.harness.afterMessage = [](SecureLink& link, const WireMessage&) {
        link.close(QStringLiteral("handled"));
    };
    // The small frames share one record with the first; the large ones arrive in later reads.
    QByteArray bytes = frameOf(move(1)) + frameOf(move(2)) + frameOf(move(3));
    for (int i = 0; i < 4; ++i)
        bytes += frameOf(messageWithFrameSize(40000));
    pair.client->write(bytes);
    ASSERT_TRUE(pair.harness.waitForClose());
    QTest::qWait(100);
    EXPECT_EQ(pair.harness.messages, std::vector{move(1)});
    EXPECT_EQ(pair.harness.closes,
              (std::vector<std::optional<QString>>{QStringLiteral("handled")}));
}

TEST(SecureLink, deliversAFinalChunkBeforeClosing) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    std::vector<std::size_t> seenAtClose;
    pair.harness.link()->onClose = [&](const std::optional<QString>& reason) {
        seenAtClose.push_back(pair.harness.messages.size());
        pair.harness.closes.push_back(reason);
    };
    pair.client->write(frameOf(move(1)) + frameOf(move(2)));
    pair.client->disconnectFromHost();
    ASSERT_TRUE(pair.harness.waitForClose());
    EXPECT_EQ(pair.harness.messages, (std::vector{move(1), move(2)}));
    EXPECT_EQ(seenAtClose, std::vector<std::size_t>{2});
    EXPECT_EQ(pair.harness.closeReason(), QStringLiteral("连接已关闭"));
}

TEST(SecureLink, allowsExactlyTheOutstandingCap) {
    ReadyPair pair;
    ASSERT_TRUE(pair.ready);
    SecureLink& link = *pair.harness.link();
    ASSERT_TRUE(QTest::qWaitFor([&] { return link.outstanding() == 0; }, kGenerousMs));

    const WireMessage quarter = messageWithFrameSize(SecureLink::kMaximumOutstanding / 4);
    for (int i = 0; i < 4; ++i)
        link.send(quarter);
    EXPECT_FALSE(link.isClosed());
    EXPECT_EQ(link.outstanding(), SecureLink::kMaximumOutstanding);

    link.send(heartbeat());
    ASSERT_TRUE(link.isClosed());
    EXPECT_EQ(pair.harness.closeReason(), QStringLiteral("网络发送积压，请重新连接"));
}

TEST(SecureLink, dropsAPeerThatStopsReading) {
    LinkHarness harness;
    auto client = pskClient(harness.port());
    // The client takes at most this much and then leaves the rest in the kernel.
    client->setReadBufferSize(4096);
    ASSERT_TRUE(harness.waitForReady());
    SecureLink& link = *harness.link();

    const WireMessage chunk = messageWithFrameSize(60000);
    std::int64_t highest = 0;
    int sends = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    while (!link.isClosed() && elapsed.elapsed() < kGenerousMs) {
        link.send(chunk);
        ++sends;
        if (!link.isClosed())
            highest = std::max(highest, link.outstanding());
        QTest::qWait(1);
    }
    ASSERT_TRUE(link.isClosed()) << sends << " frames sent";
    EXPECT_EQ(harness.closeReason(), QStringLiteral("网络发送积压，请重新连接"));
    EXPECT_LE(highest, SecureLink::kMaximumOutstanding);
    // The backlog really built up: the cap, not some other failure, ended the link.
    EXPECT_GT(highest, SecureLink::kMaximumOutstanding / 2);
}
