// The host as the program wires it, against the phone's side speaking real TLS-PSK on loopback,
// and its advertisement in the Avahi of scripts/test-env; and who gets one of its eight places:
// the phone against connections that never speak, from other loopback addresses (127.0.0.2 and up
// are local on Linux without any set-up). The session's rules themselves are unit-tested over
// fake links.

#include "HostTestSupport.h"

#include <QProcess>

#include "ConnectionSquatters.h"
#include "Random.h"

using namespace quillvane;
using namespace quillvane::test;
using Kind = WireMessage::Kind;

namespace {

class HostSession : public HostFixture {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        startHost();
    }

    std::unique_ptr<ConnectionSquatters> squat(int last, int count) {
        auto squatters = std::make_unique<ConnectionSquatters>(
            QHostAddress(QStringLiteral("127.0.0.%1").arg(last)), count,
            QStringLiteral("127.0.0.1"), m_host->port());
        squatters->start();
        return squatters;
    }
};

int ended(const std::vector<std::unique_ptr<ConnectionSquatters>>& squatters) {
    int count = 0;
    for (const auto& squatter : squatters)
        count += squatter->ended();
    return count;
}

} // namespace

TEST_F(HostSession, aPhoneBindsOverTlsDictatesAndIsDroppedWhenAChannelCloses) {
    PhoneClient phone(*m_host->profile(), m_host->port());
    ASSERT_TRUE(phone.bind());
    EXPECT_TRUE(testing_support::waitUntil([&] { return m_host->connected(); }, kGenerousMs));
    EXPECT_EQ(m_host->status(), QStringLiteral("手机已连接"));

    // An utterance begun and then abandoned by a setting changed meanwhile, which names it; the
    // setting is stored. (Utterances played to the end are the voice test's.)
    m_host->setPrepDelay(0.05);
    WireMessage begin(Kind::voiceBegin);
    begin.session = randomUuid();
    phone.control().send(begin);
    ASSERT_TRUE(phone.await(phone.control(), Kind::voiceReady));
    EXPECT_TRUE(m_host->speaking());
    EXPECT_EQ(m_host->status(), QStringLiteral("正在接收手机语音"));
    m_host->setHotkeyCode(50);
    const auto failure = phone.await(phone.control(), Kind::failure);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "电脑语音设置已改变，请重新开始");
    EXPECT_EQ(failure->session, begin.session);
    EXPECT_EQ(m_test.settings().value(QStringLiteral("hotkeyCode")).toLongLong(), 50);

    // Losing a channel drops the whole controller at once, not only when the missing heartbeats
    // would. (That what it held goes with it is the session's unit test.)
    phone.audio().close();
    EXPECT_TRUE(phone.awaitClosed(phone.control()));
    EXPECT_FALSE(m_host->connected());
    EXPECT_EQ(m_host->status(), QStringLiteral("等待手机连接"));
}

namespace {

int avahiControl(const char* command) {
    return QProcess::execute(qEnvironmentVariable("QUILLVANE_TEST_ENV_DIR") +
                                 QStringLiteral("/avahi-control"),
                             {QString::fromLatin1(command)});
}

} // namespace

TEST_F(HostSession, rotatingThePairingRetiresTheOldKeyAndName) {
    const PairingProfile old = *m_host->profile();
    const auto name = [](const Uuid& id) { return QString::fromStdString(id.toString()); };
    ASSERT_TRUE(testing_support::waitForBrowsed(name(old.id)));
    PhoneClient before(*m_host->profile(), m_host->port());
    ASSERT_TRUE(before.bind());

    m_host->rotatePairing();
    const PairingProfile fresh = *m_host->profile();
    EXPECT_NE(fresh.id, old.id);
    EXPECT_NE(fresh.secret, old.secret);
    EXPECT_EQ(m_test.keychain().load("host"), fresh);
    EXPECT_TRUE(before.awaitClosed(before.control()));

    // The old key no longer completes a handshake; the new one does, under the new name.
    ControllerChannel stale(QStringLiteral("control"), old.id, *old.keyData());
    bool staleClosed = false;
    stale.onClose = [&](const QString&) { staleClosed = true; };
    stale.connectTo(QStringLiteral("127.0.0.1"), m_host->port());
    EXPECT_TRUE(testing_support::waitUntil([&] { return staleClosed; }, kGenerousMs));
    EXPECT_FALSE(stale.isEncrypted());
    PhoneClient after(*m_host->profile(), m_host->port());
    EXPECT_TRUE(after.bind());
    EXPECT_TRUE(testing_support::waitForBrowsed(name(fresh.id)));
    EXPECT_FALSE(testing_support::waitForBrowsed(name(old.id), false));
}

TEST_F(HostSession, aStoppedAvahiDaemonIsTheIssueUntilTheServiceIsListedAgain) {
    const QString name = QString::fromStdString(m_host->profile()->id.toString());
    ASSERT_TRUE(testing_support::waitForBrowsed(name));
    ASSERT_EQ(avahiControl("stop"), 0);
    const bool shown = testing_support::waitUntil(
        [&] {
            return m_host->issue() ==
                   QStringLiteral("avahi-daemon 没有运行：请用 sudo systemctl enable --now avahi-daemon 启动它（-26）");
        },
        kGenerousMs);
    ASSERT_EQ(avahiControl("start"), 0); // before any verdict: the other tests need the daemon
    EXPECT_TRUE(shown) << m_host->issue().toStdString();
    // The new daemon knows nothing of the old registration: listing it proves we published again.
    EXPECT_TRUE(testing_support::waitUntil([&] { return !m_host->hasIssue(); }, kGenerousMs))
        << m_host->issue().toStdString();
    EXPECT_TRUE(testing_support::waitForBrowsed(name));
}

// Which handshake gives way to whom is the reception's unit test; here real squatters from four
// addresses hold every place, and the phone still binds and keeps its channels.
TEST_F(HostSession, thePhoneBindsPastSquattersWhoNeverDisplaceItsChannels) {
    std::vector<std::unique_ptr<ConnectionSquatters>> squatters;
    for (int i = 0; i < 4; ++i)
        squatters.push_back(squat(2 + i, 6));
    // Every place is held, and every squatter has been ended and come back about once.
    ASSERT_TRUE(testing_support::waitUntil(
        [&] { return m_host->linkCount() == 8 && ended(squatters) >= 24; }, kGenerousMs));

    PhoneClient phone(*m_host->profile(), m_host->port());
    ASSERT_TRUE(phone.bind());

    // Squatters from the phone's own address too: its address then holds the most places, and
    // only the squatters' handshakes may give way.
    squatters.push_back(squat(1, 12));
    const int before = ended(squatters);
    ASSERT_TRUE(testing_support::waitUntil([&] { return ended(squatters) >= before + 36; },
                                           kGenerousMs));
    phone.control().send(WireMessage(WireMessage::Kind::heartbeat));
    EXPECT_TRUE(phone.await(phone.control(), WireMessage::Kind::heartbeat));
    EXPECT_FALSE(phone.isClosed(phone.control()) || phone.isClosed(phone.audio()));
    EXPECT_TRUE(m_host->connected());
    EXPECT_LE(m_host->linkCount(), 8);
}
