// The host over the gnome-keyring of scripts/test-env, locked under it: no prompter runs there, so
// the keyring refuses to store until it is unlocked again, as when a prompt cannot show.

#include "HostTestSupport.h"

#include <QProcess>

using namespace quillvane;
using namespace quillvane::test;

namespace {

int keyring(const char* command) {
    return QProcess::execute(qEnvironmentVariable("QUILLVANE_TEST_ENV_DIR") +
                                 QStringLiteral("/keyring"),
                             {QString::fromLatin1(command)});
}

class HostKeyring : public HostFixture {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        m_test.useKeychain(KeychainStore::secretService());
        m_test.keychain().remove("host");
    }
    void TearDown() override {
        keyring("unlock");
        HostFixture::TearDown();
        m_test.keychain().remove("host");
    }
};

} // namespace

TEST_F(HostKeyring, aKeyringThatCannotSaveIsTheIssueUntilARotationSaves) {
    ASSERT_EQ(keyring("lock"), 0);

    // The program keeps running with the issue: it still stops cleanly on SIGTERM afterwards.
    QProcess program;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_test.path(QStringLiteral("config")));
    environment.remove(QStringLiteral("DISPLAY"));
    // The terminal speaks the interface language, which follows a Chinese desktop here.
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANGUAGE"})
        environment.remove(QString::fromLatin1(name));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("zh_CN.UTF-8"));
    program.setProcessEnvironment(environment);
    program.start(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane"), {QStringLiteral("--headless")});
    QByteArray output;
    EXPECT_TRUE(testing_support::waitUntil(
        [&] {
            output += program.readAllStandardOutput();
            return output.contains("Issue: 无法保存配对钥匙串（") ||
                   program.state() == QProcess::NotRunning;
        },
        kGenerousMs));
    program.terminate();
    ASSERT_TRUE(program.waitForFinished(kGenerousMs));
    output += program.readAllStandardOutput();
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_TRUE(output.contains("Stopped.")) << output.toStdString();

    makeHost();
    m_host->start();
    // Nothing blocks and nothing ends: the host waits, stopped, with the keyring's failure shown.
    const QString locked = m_host->issue();
    EXPECT_TRUE(locked.startsWith(QStringLiteral("无法保存配对钥匙串（")) &&
                locked.endsWith(QStringLiteral("）")))
        << locked.toStdString();
    EXPECT_FALSE(m_host->isStarted());
    m_host->rotatePairing();
    EXPECT_FALSE(m_host->isStarted());
    EXPECT_EQ(m_host->issue(), locked);

    ASSERT_EQ(keyring("unlock"), 0);
    m_host->rotatePairing();
    ASSERT_TRUE(m_host->isStarted());
    EXPECT_FALSE(m_host->hasIssue()) << m_host->issue().toStdString();
    EXPECT_EQ(m_test.keychain().load("host"), m_host->profile());
    PhoneClient phone(*m_host->profile(), m_host->port());
    EXPECT_TRUE(phone.bind());

    // The program now runs with that pairing, and prints its link, which holds the key, only when
    // asked to.
    output.clear();
    program.start(QStringLiteral(QUILLVANE_BIN_DIR "/quillvane"), {QStringLiteral("--headless")});
    EXPECT_TRUE(testing_support::waitUntil([&] {
        output += program.readAllStandardOutput();
        return output.contains("Listening on port");
    }, kGenerousMs)) << output.toStdString();
    program.terminate();
    ASSERT_TRUE(program.waitForFinished(kGenerousMs));
    output += program.readAll();
    EXPECT_FALSE(output.contains("quillvane://")) << output.toStdString();
}
