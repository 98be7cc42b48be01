// The quillvane program and quillvane-controller as a user runs them: the host prints its port and
// pairing link, the controller finds it by DNS-SD and binds, and SIGTERM stops the host cleanly.

#include <QRegularExpression>
#include <QTemporaryDir>

#include "integration/IntegrationTest.h"

namespace {

constexpr int kGenerousMs = 20'000;

QString binary(const char* name) { return QStringLiteral(QUILLVANE_BIN_DIR "/") + QLatin1String(name); }

class HostProcess : public quillvane::testing_support::IntegrationTest {
protected:
    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
        // These hosts need no display: the input tests own the test X server.
        env.remove(QStringLiteral("DISPLAY"));
        // Nor the keyring, which the keyring test locks meanwhile: without a session bus the key
        // is kept in a file under XDG_DATA_HOME, and must survive there just the same.
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                   QStringLiteral("unix:path=") + m_dir.filePath(QStringLiteral("no-session-bus")));
        return env;
    }

    // Starts the host and waits until it has printed its port (and link, when asked for).
    void startHost(QProcess& host, QStringList arguments) {
        host.setProcessEnvironment(environment());
        host.start(binary("quillvane"), arguments);
        ASSERT_TRUE(host.waitForStarted());
        ASSERT_TRUE(quillvane::testing_support::waitUntil(
            [&] {
                m_output += host.readAllStandardOutput();
                return m_output.contains("Listening on port") &&
                       (!arguments.contains(QStringLiteral("--show-pairing")) ||
                        m_output.contains("quillvane://pair?"));
            },
            kGenerousMs))
            << m_output.toStdString();
    }

    QString link() const {
        const auto match = QRegularExpression(QStringLiteral("^(quillvane://pair\\?\\S+)$"),
                                              QRegularExpression::MultilineOption)
                               .match(QString::fromUtf8(m_output));
        return match.captured(1);
    }

    QTemporaryDir m_dir;
    QByteArray m_output;
};

} // namespace

TEST_F(HostProcess, aControllerFindsTheHostByItsLinkSigtermClosesItAndTheKeySurvives) {
    QProcess host;
    startHost(host, {QStringLiteral("--headless"), QStringLiteral("--show-pairing")});
    const QString pairing = link();
    const QByteArray secret = pairing.section(QStringLiteral("key="), 1).toLatin1();
    ASSERT_EQ(secret.size(), 64);

    QProcess controller;
    controller.setProcessEnvironment(environment());
    controller.start(binary("quillvane-controller"),
                     {pairing, QStringLiteral("move 3 4"), QStringLiteral("text 世界"),
                      QStringLiteral("raw control {\"kind\":\"voiceDone\",\"version\":1}"),
                      QStringLiteral("wait 60")});
    QByteArray seen;
    ASSERT_TRUE(quillvane::testing_support::waitUntil(
        [&] {
            seen += controller.readAllStandardOutput();
            return seen.contains("\"text\":\"无效控制消息\"");
        },
        kGenerousMs))
        << seen.toStdString();
    EXPECT_TRUE(seen.contains("found host"));
    EXPECT_TRUE(seen.contains("control {\"kind\":\"welcome\""));
    EXPECT_TRUE(seen.contains("audio {\"kind\":\"welcome\""));

    // SIGTERM while a controller is bound: the host stops cleanly and closes its channels.
    host.terminate();
    ASSERT_TRUE(host.waitForFinished(kGenerousMs));
    EXPECT_EQ(host.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(host.exitCode(), 0);
    m_output += host.readAllStandardOutput();
    EXPECT_TRUE(m_output.contains("Stopped."));
    EXPECT_FALSE(host.readAllStandardError().contains(secret)) << "the key must never reach the log";
    ASSERT_TRUE(controller.waitForFinished(kGenerousMs));
    seen += controller.readAllStandardOutput();
    EXPECT_TRUE(seen.contains("closed control")) << seen.toStdString();
    EXPECT_EQ(controller.exitCode(), 1);

    // Same user data: the same pairing comes back, and without --show-pairing the key is not shown.
    m_output.clear();
    QProcess second;
    startHost(second, {QStringLiteral("--headless")});
    QProcess again;
    again.setProcessEnvironment(environment());
    again.start(binary("quillvane-controller"), {pairing, QStringLiteral("wait 0.2")});
    ASSERT_TRUE(again.waitForFinished(kGenerousMs));
    const QByteArray answer = again.readAllStandardOutput() + again.readAllStandardError();
    EXPECT_TRUE(answer.contains("audio {\"kind\":\"welcome\"")) << answer.toStdString();
    second.terminate();
    ASSERT_TRUE(second.waitForFinished(kGenerousMs));
    const QByteArray everything =
        m_output + second.readAllStandardOutput() + second.readAllStandardError();
    EXPECT_FALSE(everything.contains(secret));
    EXPECT_FALSE(everything.contains("quillvane://pair?"));
}
