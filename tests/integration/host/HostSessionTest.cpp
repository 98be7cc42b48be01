// The host session against the phone's side speaking real TLS-PSK on loopback.

#include "HostTestSupport.h"

#include <QProcess>
#include <QTemporaryDir>

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

    bool recorded(const std::string& prefix) const { return inputCalls(prefix) > 0; }
};

WireMessage kindOnly(Kind kind) { return WireMessage(kind); }

} // namespace

TEST_F(HostSession, bindsControlThenAudioAndTurnsEveryOtherLinkAway) {
    // Nobody bound: an audio hello, or anything but a hello, closes that link, and is not the
    // user's issue.
    TestController early(*m_host);
    ASSERT_TRUE(early.connect(early.audio()));
    early.hello(early.audio(), "audio");
    ASSERT_TRUE(early.connect(early.control()));
    early.control().send(kindOnly(Kind::heartbeat));
    EXPECT_TRUE(early.awaitClosed(early.audio()));
    EXPECT_TRUE(early.awaitClosed(early.control()));
    EXPECT_EQ(m_host->issue(), QString());

    TestController phone(*m_host);
    ASSERT_TRUE(phone.connect(phone.control()));
    phone.hello(phone.control(), "control");
    const auto welcome = phone.await(phone.control(), Kind::welcome);
    ASSERT_TRUE(welcome);
    EXPECT_EQ(welcome->doubleClickInterval, 0.35);
    EXPECT_EQ(m_host->status(), QStringLiteral("手机已连接"));
    EXPECT_FALSE(m_host->connected());

    // Until the audio channel binds, even heartbeats are refused (and do not count as liveness).
    phone.control().send(kindOnly(Kind::heartbeat));
    const auto notReady = phone.await(phone.control(), Kind::failure);
    ASSERT_TRUE(notReady);
    EXPECT_EQ(notReady->text, "连接尚未就绪");
    // An audio channel claiming another client id does not take the free place.
    TestController second(*m_host);
    ASSERT_TRUE(second.connect(second.audio()));
    second.hello(second.audio(), "audio");
    EXPECT_TRUE(second.awaitClosed(second.audio()));

    ASSERT_TRUE(phone.connect(phone.audio()));
    phone.hello(phone.audio(), "audio");
    ASSERT_TRUE(phone.await(phone.audio(), Kind::welcome));
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_host->connected(); }, kGenerousMs));
    phone.control().send(kindOnly(Kind::heartbeat));
    const auto reply = phone.await(phone.control(), Kind::heartbeat);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->doubleClickInterval, 0.35);

    // A second hello on a bound channel is answered, not closed.
    phone.hello(phone.control(), "control");
    const auto repeated = phone.await(phone.control(), Kind::failure, 1);
    ASSERT_TRUE(repeated);
    EXPECT_EQ(repeated->text, "重复或无效握手");

    // A kind the channel does not take gets a failure, and the session goes on.
    phone.control().send(kindOnly(Kind::welcome));
    const auto invalid = phone.await(phone.control(), Kind::failure, 2);
    ASSERT_TRUE(invalid);
    EXPECT_EQ(invalid->text, "无效控制消息");
    EXPECT_FALSE(invalid->session.has_value());
    EXPECT_EQ(m_host->issue(), QStringLiteral("无效控制消息"));
    phone.audio().send(kindOnly(Kind::move));
    const auto audioInvalid = phone.await(phone.control(), Kind::failure, 3);
    ASSERT_TRUE(audioInvalid);
    EXPECT_EQ(audioInvalid->text, "无效音频消息");
    // Bad input is refused before it is posted, and releases whatever was held.
    WireMessage tooMany(Kind::move);
    tooMany.movementSamples = std::vector<TrackpadVector>(65, TrackpadVector{1, 1});
    phone.control().send(tooMany);
    const auto badMove = phone.await(phone.control(), Kind::failure, 4);
    ASSERT_TRUE(badMove);
    EXPECT_EQ(badMove->text, "无效移动事件");
    EXPECT_FALSE(recorded("move"));
    EXPECT_TRUE(recorded("releaseAll"));
    m_input.clear();

    // A second phone, and a link that is none of the bound channels, are turned away while the
    // first phone keeps being served.
    ASSERT_TRUE(second.connect(second.control()));
    second.hello(second.control(), "control");
    TestController other(*m_host);
    ASSERT_TRUE(other.connect(other.control()));
    other.control().send(kindOnly(Kind::heartbeat));
    EXPECT_TRUE(second.awaitClosed(second.control()));
    EXPECT_TRUE(other.awaitClosed(other.control()));
    WireMessage move(Kind::move);
    move.movementSamples = std::vector<TrackpadVector>{{3, 4}};
    phone.control().send(move);
    EXPECT_TRUE(QTest::qWaitFor([&] { return recorded("move samples=1"); }, kGenerousMs));
    m_input.setPermitted(false);
    WireMessage drag(Kind::drag);
    drag.flag = true;
    phone.control().send(drag);
    const auto refused = phone.await(phone.control(), Kind::failure, 5);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->text, "请授予辅助功能权限");
    EXPECT_EQ(m_host->issue(), QStringLiteral("请授予辅助功能权限"));
    EXPECT_FALSE(phone.isClosed(phone.control()));
    EXPECT_TRUE(m_host->connected());

    // Losing either channel drops the whole controller and what it held, at once: not only when
    // the missing heartbeats would.
    m_input.clear();
    const int links = m_host->linkCount();
    phone.audio().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return m_host->linkCount() < links; }, kGenerousMs));
    EXPECT_FALSE(m_host->connected());
    EXPECT_TRUE(phone.awaitClosed(phone.control()));
    EXPECT_TRUE(recorded("releaseAll"));
}

TEST_F(HostSession, aHeartbeatGapOverFourSecondsDropsBothChannels) {
    TestController phone(*m_host);
    ASSERT_TRUE(phone.bind());
    m_input.clear();
    // No heartbeats from here on: the tick notices within about five seconds.
    EXPECT_TRUE(phone.awaitClosed(phone.control()));
    EXPECT_TRUE(phone.awaitClosed(phone.audio()));
    EXPECT_FALSE(m_host->connected());
    EXPECT_EQ(m_host->issue(), QStringLiteral("连接中断，已释放所有按键"));
    EXPECT_EQ(m_host->status(), QStringLiteral("等待手机连接"));
    EXPECT_TRUE(recorded("releaseAll"));
}

TEST_F(HostSession, boundsLinksAtEightAndClosesIdleHandshakesAtTenSeconds) {
    std::vector<std::unique_ptr<TestController>> idle;
    for (int i = 0; i < HostModel::maximumLinks; ++i) {
        idle.push_back(std::make_unique<TestController>(*m_host));
        ASSERT_TRUE(idle.back()->connect(idle.back()->control())) << i;
    }
    EXPECT_EQ(m_host->linkCount(), 8);

    // The ninth is cancelled at once, without a handshake.
    TestController ninth(*m_host);
    EXPECT_FALSE(ninth.connect(ninth.control()));

    // The idle eight never said hello: each is closed at its ten-second deadline, which frees room.
    for (auto& peer : idle)
        EXPECT_TRUE(peer->awaitClosed(peer->control()));
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_host->linkCount() == 0; }, kGenerousMs));
    TestController phone(*m_host);
    EXPECT_TRUE(phone.bind());
}

TEST_F(HostSession, routesInputMessagesWithTheirDefaults) {
    TestController phone(*m_host);
    ASSERT_TRUE(phone.bind());
    m_input.clear();

    WireMessage scroll(Kind::scroll);
    scroll.y = -12.5;
    scroll.scrollPhase = TrackpadScrollPhase::began;
    phone.control().send(scroll);
    WireMessage click(Kind::click);
    phone.control().send(click);
    WireMessage key(Kind::key);
    key.keyCode = 6;
    key.modifiers = 0x120000;
    phone.control().send(key);
    WireMessage text(Kind::text);
    text.text = "Hello, 世界";
    phone.control().send(text);
    WireMessage drag(Kind::drag);
    drag.flag = true;
    phone.control().send(drag);
    phone.control().send(kindOnly(Kind::cancel));

    ASSERT_TRUE(QTest::qWaitFor([&] { return recorded("releaseAll"); }, kGenerousMs));
    const std::vector<std::string> expected = {
        "scroll x=0 y=-12.5 phase=began",   "click right=false continuing=none",
        "key code=6 modifiers=0x120000",    "type Hello, 世界",
        "drag held=true continuing=false",  "releaseShortcut",
        "releaseAll",
    };
    EXPECT_EQ(m_input.calls(), expected);
}

namespace {

QString browse() {
    QProcess avahi;
    avahi.start(QStringLiteral("avahi-browse"),
                {QStringLiteral("-rpt"), QStringLiteral("_quillvane._tcp")});
    avahi.waitForFinished(kGenerousMs);
    return QString::fromUtf8(avahi.readAllStandardOutput());
}

bool advertised(const Uuid& id) {
    const QString name = QString::fromStdString(id.toString());
    return QTest::qWaitFor([&] { return browse().contains(QStringLiteral(";") + name + QStringLiteral(";")); },
                           kGenerousMs);
}

int avahiControl(const char* command) {
    return QProcess::execute(qEnvironmentVariable("QUILLVANE_TEST_ENV_DIR") +
                                 QStringLiteral("/avahi-control"),
                             {QString::fromLatin1(command)});
}

} // namespace

TEST_F(HostSession, rotatingThePairingRetiresTheOldKeyAndName) {
    const PairingProfile old = *m_host->profile();
    ASSERT_TRUE(advertised(old.id));
    TestController before(*m_host);
    ASSERT_TRUE(before.bind());

    m_host->rotatePairing();
    const PairingProfile fresh = *m_host->profile();
    EXPECT_NE(fresh.id, old.id);
    EXPECT_NE(fresh.secret, old.secret);
    EXPECT_EQ(m_keychain->load("host"), fresh);
    EXPECT_TRUE(before.awaitClosed(before.control()));

    // The old key no longer completes a handshake; the new one does, under the new name.
    ControllerChannel stale(QStringLiteral("control"), old.id, *old.keyData());
    bool staleClosed = false;
    stale.onClose = [&](const QString&) { staleClosed = true; };
    stale.connectTo(QStringLiteral("127.0.0.1"), m_host->port());
    EXPECT_TRUE(QTest::qWaitFor([&] { return staleClosed; }, kGenerousMs));
    EXPECT_FALSE(stale.isEncrypted());
    TestController after(*m_host);
    EXPECT_TRUE(after.bind());
    EXPECT_TRUE(advertised(fresh.id));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !browse().contains(QString::fromStdString(old.id.toString())); },
                                kGenerousMs));
}

TEST_F(HostSession, aStoppedAvahiDaemonIsTheIssueUntilTheServiceIsListedAgain) {
    const Uuid id = m_host->profile()->id;
    ASSERT_TRUE(advertised(id));
    ASSERT_EQ(avahiControl("stop"), 0);
    const bool shown = QTest::qWaitFor(
        [&] { return m_host->issue() == QStringLiteral("无法发布局域网服务（-26）"); }, kGenerousMs);
    ASSERT_EQ(avahiControl("start"), 0); // before any verdict: the other tests need the daemon
    EXPECT_TRUE(shown) << m_host->issue().toStdString();
    // The new daemon knows nothing of the old registration: listing it proves we published again.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_host->hasIssue(); }, kGenerousMs))
        << m_host->issue().toStdString();
    EXPECT_TRUE(advertised(id));
}

TEST(HostSettings, defaultsAndStoredValuesLoadAsTheUserLeftThem) {
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("q.ini")), QSettings::IniFormat);
    HostModel::Services services;
    services.settings = &settings;
    services.uptime = uptimeSeconds;
    {
        HostModel host(services);
        EXPECT_EQ(host.hotkeyCode(), 49);
        EXPECT_EQ(host.hotkeyFlags(), 0xC0000u);
        EXPECT_EQ(host.shortcutMode(), VoiceShortcutMode::hold);
        EXPECT_EQ(host.deviceUID(), QString());
        host.setShortcutMode(VoiceShortcutMode::toggle);
        host.setHotkeyFlags(0x100000);
    }
    EXPECT_EQ(settings.value(QStringLiteral("voiceShortcutMode")).toString(), QStringLiteral("toggle"));
    EXPECT_EQ(HostModel(services).hotkeyFlags(), 0x100000u);

    settings.setValue(QStringLiteral("voiceShortcutMode"), QStringLiteral("Toggle"));
    settings.setValue(QStringLiteral("hotkeyCode"), QStringLiteral("space"));
    settings.setValue(QStringLiteral("hotkeyFlags"), -1);
    HostModel host(services);
    EXPECT_EQ(host.shortcutMode(), VoiceShortcutMode::hold);
    EXPECT_EQ(host.hotkeyCode(), 49);
    EXPECT_EQ(host.hotkeyFlags(), 0xC0000u); // never a silently changed shortcut...
    EXPECT_TRUE(host.hasIssue());           // ...and the user is told
    EXPECT_EQ(settings.value(QStringLiteral("hotkeyFlags")).toLongLong(), -1); // kept as stored
}
