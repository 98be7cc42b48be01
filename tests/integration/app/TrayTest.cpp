// The tray item of the real quillvane program as a panel sees it: a StatusNotifierItem whose menu
// is read and clicked over dbusmenu, on a private session bus with a watcher and a host registered
// as a panel's tray would (scripts/test-env.d/desktop), and the test X server as the display. The
// phone's side is quillvane-controller.

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDBusVariant>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cmath>
#include <memory>
#include <vector>

#include "X11Windows.h"
#include "integration/IntegrationTest.h"

namespace quillvane {
namespace {

using testing_support::closeWindow;
using testing_support::embeddedInOtherWindow;
using testing_support::waitUntil;
using testing_support::windowShown;

constexpr int kGenerousMs = 20'000;
const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kItem = QStringLiteral("org.kde.StatusNotifierItem");
const QString kMenu = QStringLiteral("com.canonical.dbusmenu");

QString program(const char* name) { return QStringLiteral(QUILLVANE_BIN_DIR "/") + QLatin1String(name); }
QString service(const char* name) { return QStringLiteral(QUILLVANE_TEST_SERVICES "/") + QLatin1String(name); }

// One entry of a dbusmenu layout: (id, properties, children).
struct MenuEntry {
    int id = 0;
    QVariantMap properties;
    std::vector<MenuEntry> children;

    QString label() const { return properties.value(QStringLiteral("label")).toString(); }
    bool enabled() const { return properties.value(QStringLiteral("enabled"), true).toBool(); }
    bool separator() const { return properties.value(QStringLiteral("type")) == QStringLiteral("separator"); }
};

void readEntry(const QDBusArgument& argument, MenuEntry& entry) {
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        entry.children.emplace_back();
        readEntry(child.variant().value<QDBusArgument>(), entry.children.back());
    }
    argument.endArray();
    argument.endStructure();
}

// The item's IconPixmap (a(iiay)) as one run of bytes, enough to tell one icon from another.
QByteArray pixmapBytes(const QDBusArgument& argument) {
    QByteArray all;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0, height = 0;
        QByteArray data;
        argument.beginStructure();
        argument >> width >> height >> data;
        argument.endStructure();
        all += data;
    }
    argument.endArray();
    return all;
}

// The title of the item's ToolTip (s a(iiay) s s).
QString toolTipTitle(const QVariant& value) {
    const QDBusArgument argument = value.value<QDBusArgument>();
    QString iconName, title, text;
    argument.beginStructure();
    argument >> iconName;
    pixmapBytes(argument);
    argument >> title >> text;
    argument.endStructure();
    return title;
}

// A 16-bit mono WAV file of a tone, for the controller's voice command.
void writeTone(const QString& path, double seconds) {
    constexpr quint32 rate = 24'000;
    const auto samples = static_cast<quint32>(seconds * rate);
    QByteArray wav;
    const auto put = [&](quint32 value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            wav += static_cast<char>((value >> (8 * i)) & 0xff);
    };
    wav += "RIFF";
    put(36 + samples * 2, 4);
    wav += "WAVEfmt ";
    put(16, 4), put(1, 2), put(1, 2), put(rate, 4), put(rate * 2, 4), put(2, 2), put(16, 2);
    wav += "data";
    put(samples * 2, 4);
    for (quint32 i = 0; i < samples; ++i)
        put(static_cast<quint16>(static_cast<qint16>(8000 * std::sin(i * 0.1))), 2);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(wav);
}

// A process whose standard output is kept as it comes.
struct Program {
    QProcess process;
    QByteArray output;

    bool waitFor(const QByteArray& text, int timeoutMs = kGenerousMs) {
        return waitUntil([&] {
            output += process.readAllStandardOutput();
            return output.contains(text);
        }, timeoutMs);
    }
};

class Tray : public testing_support::IntegrationTest {
protected:
    void SetUp() override {
        IntegrationTest::SetUp();
        ASSERT_TRUE(m_dir.isValid());
    }

    void TearDown() override {
        if (m_bus)
            QDBusConnection::disconnectFromBus(m_bus->name());
        for (Program* running : {&m_controller, &m_host, &m_watcher, &m_desktop, &m_sound}) {
            running->process.terminate();
            running->process.waitForFinished(10'000);
        }
    }

    QString busAddress() const { return QStringLiteral("unix:path=") + m_dir.filePath(QStringLiteral("desktop/bus")); }

    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
        // A Chinese desktop, whose language the program follows.
        env.remove(QStringLiteral("LC_ALL"));
        env.remove(QStringLiteral("LANGUAGE"));
        env.insert(QStringLiteral("LANG"), QStringLiteral("zh_CN.UTF-8"));
        if (m_sound.process.state() == QProcess::Running)
            env.insert(QStringLiteral("PULSE_SERVER"), QStringLiteral("unix:") + m_dir.filePath(QStringLiteral("sound/pulse/native")));
        return env;
    }

    void startDesktop(bool tray) {
        QStringList arguments{m_dir.filePath(QStringLiteral("desktop"))};
        if (!tray)
            arguments << QStringLiteral("--no-tray");
        m_desktop.process.start(service("desktop"), arguments);
        ASSERT_TRUE(m_desktop.waitFor("ready\n")) << m_desktop.process.readAllStandardError().toStdString();
        m_bus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(busAddress(), m_dir.path()));
        ASSERT_TRUE(m_bus->isConnected());
    }

    // A sound server of this test's own with "Quillvane Microphone" installed.
    void startSoundWithMicrophone() {
        m_sound.process.start(service("pulseaudio"), {m_dir.filePath(QStringLiteral("sound"))});
        ASSERT_TRUE(m_sound.process.waitForStarted());
        QProcess install;
        install.setProcessEnvironment(environment());
        ASSERT_TRUE(waitUntil([&] {
            install.start(program("quillvane"), {QStringLiteral("--install-microphone")});
            return install.waitForFinished(kGenerousMs) && install.exitCode() == 0;
        }, kGenerousMs)) << install.readAll().toStdString();
    }

    void startWatcher() {
        m_watcher.process.setProcessEnvironment(environment());
        m_watcher.process.start(service("status-notifier-watcher"), {});
        ASSERT_TRUE(m_watcher.waitFor("ready\n"));
    }

    void startHost() {
        m_host.process.setProcessEnvironment(environment());
        m_host.process.start(program("quillvane"), {QStringLiteral("--show-pairing")});
        ASSERT_TRUE(m_host.waitFor("quillvane://pair?") && m_host.waitFor("Listening on port"))
            << m_host.output.toStdString();
    }

    QString link() const {
        return QRegularExpression(QStringLiteral("^(quillvane://pair\\?\\S+)$"), QRegularExpression::MultilineOption)
            .match(QString::fromUtf8(m_host.output)).captured(1);
    }

    // The last status the host printed, which the menu's first line shows.
    QString lastStatus() {
        m_host.output += m_host.process.readAllStandardOutput();
        const auto lines = QString::fromUtf8(m_host.output).split(QLatin1Char('\n'));
        for (auto line = lines.rbegin(); line != lines.rend(); ++line)
            if (line->startsWith(QStringLiteral("Status: ")))
                return line->mid(8);
        return {};
    }

    // Binds a controller that stays until its standard input closes or the host drops it.
    void bindPhone() {
        m_controller.output.clear();
        m_controller.process.setProcessEnvironment(environment());
        const QString port = QRegularExpression(QStringLiteral("Listening on port (\\d+)"))
                                 .match(QString::fromUtf8(m_host.output)).captured(1);
        m_controller.process.start(program("quillvane-controller"),
                                   {QStringLiteral("--host"), QStringLiteral("127.0.0.1"), QStringLiteral("--port"), port, link()});
        ASSERT_TRUE(m_controller.waitFor("audio {\"kind\":\"welcome\"")) << m_controller.output.toStdString();
    }

    // The registered items, as "service/path".
    QStringList items() const {
        QDBusInterface watcher(kWatcher, QStringLiteral("/StatusNotifierWatcher"), kWatcher, *m_bus);
        return watcher.property("RegisteredStatusNotifierItems").toStringList();
    }

    QVariant itemProperty(const char* name) const {
        const QString item = items().value(0);
        QDBusInterface properties(item.section(QLatin1Char('/'), 0, 0), QLatin1Char('/') + item.section(QLatin1Char('/'), 1),
                                  QStringLiteral("org.freedesktop.DBus.Properties"), *m_bus);
        const QDBusReply<QDBusVariant> reply = properties.call(QStringLiteral("Get"), kItem, QLatin1String(name));
        return reply.isValid() ? reply.value().variant() : QVariant();
    }

    QByteArray icon() const { return pixmapBytes(itemProperty("IconPixmap").value<QDBusArgument>()); }
    QString toolTip() const { return toolTipTitle(itemProperty("ToolTip")); }

    std::unique_ptr<QDBusInterface> menuInterface() const {
        const QString path = itemProperty("Menu").value<QDBusObjectPath>().path();
        return std::make_unique<QDBusInterface>(items().value(0).section(QLatin1Char('/'), 0, 0), path, kMenu, *m_bus);
    }

    std::vector<MenuEntry> menu() const {
        const QDBusMessage reply = menuInterface()->call(QStringLiteral("GetLayout"), 0, -1, QStringList());
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2)
            return {};
        MenuEntry root;
        readEntry(reply.arguments().at(1).value<QDBusArgument>(), root);
        return root.children;
    }

    std::optional<MenuEntry> entry(const QString& label) const {
        for (const MenuEntry& e : menu())
            if (e.label() == label)
                return e;
        return std::nullopt;
    }

    void click(const QString& label) {
        const auto target = entry(label);
        ASSERT_TRUE(target) << label.toStdString();
        menuInterface()->call(QStringLiteral("Event"), target->id, QStringLiteral("clicked"),
                              QVariant::fromValue(QDBusVariant(0)), 0u);
    }

    // Whether the window shows the no-tray hint, as a screen reader finds it on the AT-SPI bus.
    bool trayHintShown() const {
        const QString script = QStringLiteral(R"(
import pyatspi, sys
def walk(node):
    if node is None: return False
    if node.getRoleName() == "label" and "AppIndicator" in (node.name or ""): return node.getState().contains(pyatspi.STATE_SHOWING)
    return any(walk(node.getChildAtIndex(i)) for i in range(node.childCount))
sys.exit(0 if any(walk(a) for a in pyatspi.Registry.getDesktop(0) if a and (a.name or "").lower() == "quillvane") else 1)
)");
        QProcess python;
        python.setProcessEnvironment(environment());
        python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral("-c"), script});
        return python.waitForFinished(kGenerousMs) && python.exitCode() == 0;
    }

    QTemporaryDir m_dir;
    Program m_desktop, m_watcher, m_sound, m_host, m_controller;
    std::unique_ptr<QDBusConnection> m_bus;
};

TEST_F(Tray, theMenuFollowsThePhoneAndQuittingClosesEveryLink) {
    startDesktop(true);
    startHost();
    ASSERT_TRUE(waitUntil([&] { return items().size() == 1; }, kGenerousMs)) << "no item registered";

    const auto shows = [&](const QStringList& labels) {
        return waitUntil([&] {
            QStringList seen;
            for (const MenuEntry& e : menu())
                seen << (e.separator() ? QStringLiteral("-") : e.label());
            return seen == labels;
        }, kGenerousMs);
    };
    ASSERT_TRUE(shows({lastStatus(), QStringLiteral("断开手机"), QStringLiteral("-"), QStringLiteral("打开 Quillvane"),
                       QStringLiteral("退出 Quillvane")}));
    EXPECT_FALSE(entry(QStringLiteral("断开手机"))->enabled()) << "no phone is bound yet";
    EXPECT_FALSE(windowShown("Quillvane")) << "with a tray the window waits to be asked for";

    click(QStringLiteral("打开 Quillvane"));
    EXPECT_TRUE(waitUntil([] { return windowShown("Quillvane"); }, kGenerousMs));
    ASSERT_TRUE(closeWindow("Quillvane"));
    EXPECT_TRUE(waitUntil([] { return !windowShown("Quillvane"); }, kGenerousMs));

    bindPhone();
    EXPECT_TRUE(waitUntil([&] { return entry(QStringLiteral("断开手机"))->enabled(); }, kGenerousMs));
    EXPECT_TRUE(waitUntil([&] { return menu().front().label() == lastStatus(); }, kGenerousMs))
        << "the status line did not follow the host";

    click(QStringLiteral("断开手机"));
    EXPECT_TRUE(m_controller.process.waitForFinished(kGenerousMs));
    m_controller.output += m_controller.process.readAllStandardOutput();
    EXPECT_TRUE(m_controller.output.contains("closed control")) << m_controller.output.toStdString();
    EXPECT_TRUE(waitUntil([&] { return !entry(QStringLiteral("断开手机"))->enabled(); }, kGenerousMs));

    bindPhone();
    click(QStringLiteral("退出 Quillvane"));
    ASSERT_TRUE(m_host.process.waitForFinished(kGenerousMs));
    EXPECT_EQ(m_host.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(m_host.process.exitCode(), 0);
    EXPECT_TRUE(m_controller.process.waitForFinished(kGenerousMs));
    m_controller.output += m_controller.process.readAllStandardOutput();
    EXPECT_TRUE(m_controller.output.contains("closed control")) << m_controller.output.toStdString();
}

TEST_F(Tray, theIconIsAMicrophoneWhileThePhoneSpeaks) {
    startSoundWithMicrophone();
    startDesktop(true);
    startHost();
    ASSERT_TRUE(waitUntil([&] { return items().size() == 1; }, kGenerousMs));
    const QByteArray idle = icon();
    ASSERT_FALSE(idle.isEmpty());
    EXPECT_EQ(toolTip(), QStringLiteral("Quillvane"));

    bindPhone();
    const QString tone = m_dir.filePath(QStringLiteral("tone.wav"));
    writeTone(tone, 2.0);
    m_controller.process.write("voice " + tone.toUtf8() + "\n");
    EXPECT_TRUE(waitUntil([&] { return icon() != idle; }, kGenerousMs))
        << "the icon did not change; the phone heard: " << m_controller.output.toStdString();
    EXPECT_EQ(toolTip(), QStringLiteral("Quillvane，正在传音"));
    EXPECT_TRUE(m_controller.waitFor("voiceDone")) << m_controller.output.toStdString();
    EXPECT_TRUE(waitUntil([&] { return icon() == idle; }, kGenerousMs));
}

TEST_F(Tray, withoutATrayTheWindowIsTheProgram) {
    startDesktop(false);
    startHost();
    ASSERT_TRUE(waitUntil([] { return windowShown("Quillvane"); }, kGenerousMs)) << "no window at start";
    EXPECT_TRUE(trayHintShown()) << "the window does not say how to get a tray";
    ASSERT_TRUE(closeWindow("Quillvane"));
    ASSERT_TRUE(m_host.process.waitForFinished(kGenerousMs)) << "closing the only window did not quit";
    EXPECT_EQ(m_host.process.exitCode(), 0);
}

// The panel starts after the program, as at login: the window is the program until the tray is
// there, then the tray item takes over and closing the window no longer quits.
TEST_F(Tray, aTrayThatAppearsLaterTakesOver) {
    startDesktop(false);
    startHost();
    ASSERT_TRUE(waitUntil([] { return windowShown("Quillvane"); }, kGenerousMs));
    startWatcher();
    EXPECT_TRUE(waitUntil([&] { return items().size() == 1; }, kGenerousMs)) << "the late tray got no item";
    EXPECT_FALSE(trayHintShown()) << "the hint stays although a tray is there";
    ASSERT_TRUE(closeWindow("Quillvane"));
    EXPECT_TRUE(waitUntil([] { return !windowShown("Quillvane"); }, kGenerousMs));
    EXPECT_FALSE(m_host.process.waitForFinished(1000)) << "the program quit although it has a tray now";
}

// The same with a panel that knows only XEmbed, as many X11 window managers' bars do.
TEST_F(Tray, anXEmbedTrayThatAppearsLaterTakesOver) {
    startDesktop(false);
    startHost();
    ASSERT_TRUE(waitUntil([] { return windowShown("Quillvane"); }, kGenerousMs));
    Program panel;
    panel.process.setProcessEnvironment(environment());
    panel.process.start(QStringLiteral("trayer"), {QStringLiteral("--edge"), QStringLiteral("top")});
    ASSERT_TRUE(panel.process.waitForStarted());
    EXPECT_TRUE(waitUntil([] { return embeddedInOtherWindow("quillvane"); }, kGenerousMs))
        << "the panel did not embed the icon";
    EXPECT_FALSE(trayHintShown());
    ASSERT_TRUE(closeWindow("Quillvane"));
    EXPECT_FALSE(m_host.process.waitForFinished(1000)) << "the program quit although it has a tray now";
    panel.process.terminate();
    panel.process.waitForFinished(kGenerousMs);
}

} // namespace
} // namespace quillvane
