#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>

#include "LinkTestSupport.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

// The options of a client that offers our PSK suite with this identity and key.
QStringList pskOptions(const QByteArray& identity, const QByteArray& key,
                       const QString& protocol = QStringLiteral("-tls1_2")) {
    return QStringLiteral("%1 -cipher PSK-AES128-GCM-SHA256 -psk_identity %2 -psk %3")
        .arg(protocol, QString::fromLatin1(identity), QString::fromLatin1(key.toHex()))
        .split(QLatin1Char(' '));
}

// `openssl s_client` as a controller that shares none of our code: frames go in on stdin and
// come out raw on stdout.
struct OpensslClient {
    OpensslClient(quint16 port, const QStringList& options) {
        QObject::connect(&process, &QProcess::readyReadStandardOutput, &process,
                         [this] { received.take(process.readAllStandardOutput()); });
        const QString connect = QStringLiteral("s_client -quiet -connect 127.0.0.1:%1").arg(port);
        process.start(QStringLiteral("openssl"), connect.split(QLatin1Char(' ')) + options);
        EXPECT_TRUE(process.waitForStarted()) << "openssl (scripts/bootstrap installs it)";
    }
    ~OpensslClient() {
        process.kill();
        process.waitForFinished(kGenerousMs);
    }

    QProcess process;
    FrameCollector received;
};

} // namespace

TEST(SecureLinkOpenssl, exchangesFramesWithTheRightKeyAndIdentity) {
    LinkHarness harness;
    OpensslClient client(harness.port(), pskOptions(kIdentity, bytesOf(pairingKey())));
    ASSERT_TRUE(harness.waitForReady()) << harness.closeReason().toStdString()
                                        << client.process.readAllStandardError().toStdString();

    WireMessage hello(WireMessage::Kind::hello);
    hello.channel = "control";
    hello.client = pairingId();
    const WireMessage largest = sizedMessage(FrameCodec::prefixSize + FrameCodec::maximumSize);
    client.process.write(frameOf(hello) + frameOf(largest));
    ASSERT_TRUE(harness.waitFor([&] { return harness.messages.size() == 2; }))
        << harness.closeReason().toStdString();
    EXPECT_EQ(harness.messages, (std::vector{hello, largest}));

    harness.link()->send(largest);
    harness.link()->send(hello);
    ASSERT_TRUE(testing_support::waitUntil([&] { return client.received.messages.size() >= 2; }, kGenerousMs));
    EXPECT_EQ(client.received.messages, (std::vector{largest, hello}));

    client.process.kill();
    ASSERT_TRUE(harness.waitForClose());
    EXPECT_EQ(harness.closeReason(), QStringLiteral("连接已关闭"));
}

TEST(SecureLinkOpenssl, refusesEveryOtherHandshake) {
    const std::pair<const char*, QStringList> cases[] = {
        {"wrong key", pskOptions(kIdentity, bytesOf(pairingKey()).replace(31, 1, "x"))},
        {"lower-case identity", pskOptions(kIdentity.toLower(), bytesOf(pairingKey()))},
        {"TLS 1.3", pskOptions(kIdentity, bytesOf(pairingKey()), QStringLiteral("-tls1_3"))},
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
        EXPECT_TRUE(client.received.messages.empty());
    }
}
