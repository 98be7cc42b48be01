#include <gtest/gtest.h>

#include <memory>

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include "LinkTestSupport.h"

using namespace quillvane;
using namespace quillvane::test;

namespace {

// How the outside client is told to connect; each refusal case changes one thing.
struct ClientOptions {
    QString protocol = QStringLiteral("-tls1_2");
    QString cipher = QStringLiteral("PSK-AES128-GCM-SHA256");
    QByteArray identity = upperIdentity();
    QByteArray keyHex = bytesOf(pairingKey()).toHex();
    bool withPsk = true;
};

// `openssl s_client` as a controller that shares none of our code: frames go in on stdin and
// come out raw on stdout.
class OpensslClient {
public:
    static QString program() { return QStandardPaths::findExecutable(QStringLiteral("openssl")); }

    OpensslClient(quint16 port, const ClientOptions& options) {
        QStringList arguments{QStringLiteral("s_client"),
                              QStringLiteral("-connect"),
                              QStringLiteral("127.0.0.1:%1").arg(port),
                              options.protocol,
                              QStringLiteral("-cipher"),
                              options.cipher,
                              QStringLiteral("-quiet")};
        if (options.withPsk)
            arguments << QStringLiteral("-psk_identity") << QString::fromLatin1(options.identity)
                      << QStringLiteral("-psk") << QString::fromLatin1(options.keyHex);
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process,
                         [this] { received.take(m_process.readAllStandardOutput()); });
        m_process.start(program(), arguments);
    }

    ~OpensslClient() {
        m_process.kill();
        m_process.waitForFinished(kGenerousMs);
    }

    void write(const QByteArray& bytes) { m_process.write(bytes); }
    void kill() { m_process.kill(); }
    QByteArray errors() { return m_process.readAllStandardError(); }

    FrameCollector received;

private:
    QProcess m_process;
};

class SecureLinkOpenssl : public testing::Test {
protected:
    void SetUp() override {
        if (OpensslClient::program().isEmpty())
            GTEST_SKIP() << "openssl is not installed";
    }
};

} // namespace

TEST_F(SecureLinkOpenssl, exchangesFramesWithTheRightKeyAndIdentity) {
    LinkHarness harness;
    OpensslClient client(harness.port(), ClientOptions{});
    ASSERT_TRUE(harness.waitForReady())
        << harness.closeReason().toStdString() << client.errors().toStdString();

    WireMessage hello(WireMessage::Kind::hello);
    hello.channel = "control";
    hello.client = pairingId();
    client.write(frameOf(WireMessage(WireMessage::Kind::heartbeat)) + frameOf(hello));
    ASSERT_TRUE(harness.waitForMessages(2)) << harness.closeReason().toStdString();
    EXPECT_EQ(harness.messages, (std::vector{WireMessage(WireMessage::Kind::heartbeat), hello}));

    WireMessage welcome(WireMessage::Kind::welcome);
    welcome.doubleClickInterval = 0.4;
    harness.link()->send(welcome);
    harness.link()->send(messageWithFrameSize(50000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return client.received.messages.size() >= 2; }, kGenerousMs));
    EXPECT_EQ(client.received.messages, (std::vector{welcome, messageWithFrameSize(50000)}));

    client.kill();
    ASSERT_TRUE(harness.waitForClose());
    EXPECT_EQ(harness.closeReason(), QStringLiteral("连接已关闭"));
    EXPECT_EQ(harness.readyCount, 1);
}

TEST_F(SecureLinkOpenssl, refusesEveryOtherHandshake) {
    struct Case {
        const char* name;
        ClientOptions options;
    };
    ClientOptions wrongKey;
    wrongKey.keyHex[0] = wrongKey.keyHex[0] == '0' ? '1' : '0';
    ClientOptions lowerCaseIdentity;
    lowerCaseIdentity.identity = upperIdentity().toLower();
    ClientOptions tls13;
    tls13.protocol = QStringLiteral("-tls1_3");
    ClientOptions certificateSuite;
    certificateSuite.cipher = QStringLiteral("ECDHE-RSA-AES128-GCM-SHA256");
    certificateSuite.withPsk = false;

    for (const Case& c :
         {Case{"wrong key", wrongKey}, Case{"lower-case identity", lowerCaseIdentity},
          Case{"TLS 1.3", tls13}, Case{"certificate suite", certificateSuite}}) {
        SCOPED_TRACE(c.name);
        LinkHarness harness;
        OpensslClient client(harness.port(), c.options);
        ASSERT_TRUE(harness.waitForClose());
        EXPECT_EQ(harness.readyCount, 0);
        ASSERT_TRUE(harness.closes.front().has_value());
        EXPECT_FALSE(harness.closes.front()->isEmpty());
        EXPECT_NE(*harness.closes.front(), QStringLiteral("连接超时，请检查配对码和网络"));
        EXPECT_TRUE(client.received.messages.empty());
    }
}
