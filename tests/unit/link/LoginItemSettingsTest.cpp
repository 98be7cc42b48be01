#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include "LoginItemSettings.h"
#include "XdgAutostartService.h"

using namespace quillvane;

namespace {

// The real autostart service in a private $XDG_CONFIG_HOME; the entry is checked by
// desktop-file-validate, as the desktop's session manager would read it.
class LoginItemSettingsTest : public testing::Test {
protected:
    void SetUp() override { qputenv("XDG_CONFIG_HOME", m_home.path().toUtf8()); }
    void TearDown() override { qunsetenv("XDG_CONFIG_HOME"); }

    QString entryPath() const { return m_home.filePath(QStringLiteral("autostart/quillvane.desktop")); }
    QByteArray entry() const {
        QFile file(entryPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    bool defaultConfigured() const {
        return m_settings.value(QStringLiteral("loginItemDefaultConfigured"), false).toBool();
    }
    static QString validate(const QString& path) {
        QProcess validator;
        validator.start(QStringLiteral("desktop-file-validate"), {path});
        if (!validator.waitForFinished())
            return QStringLiteral("desktop-file-validate did not run");
        return validator.exitCode() == 0 && validator.exitStatus() == QProcess::NormalExit
                   ? QString()
                   : QString::fromUtf8(validator.readAll()) + QStringLiteral(" (exit %1)").arg(validator.exitCode());
    }

    QTemporaryDir m_home;
    QSettings m_settings{m_home.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
};

} // namespace

// The user's switch, and that it lasts across starts, is the settings window's test.
TEST_F(LoginItemSettingsTest, theFirstRunWritesAValidEntryAndAHiddenOneIsOff) {
    LoginItemSettings items(m_settings);
    EXPECT_TRUE(items.isOn());
    EXPECT_TRUE(items.issue().isEmpty());
    EXPECT_TRUE(defaultConfigured()); // once: an entry the user removes stays removed
    EXPECT_TRUE(entry().contains("\nExec=" + QCoreApplication::applicationFilePath().toUtf8() + "\n"));
    EXPECT_EQ(validate(entryPath()), QString());

    // Switched off by the desktop's own settings, which mark the entry instead of removing it.
    QFile file(entryPath());
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("Hidden=true\n");
    file.close();
    items.refresh();
    EXPECT_FALSE(items.isOn());
}

TEST_F(LoginItemSettingsTest, aFailedWriteIsTheIssueAndTheDefaultIsTriedAgain) {
    // A file where the autostart folder should be: the entry cannot be written.
    QFile blocker(m_home.filePath(QStringLiteral("autostart")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    {
        LoginItemSettings items(m_settings);
        EXPECT_FALSE(items.isOn());
        EXPECT_EQ(items.issue(), QStringLiteral("无法开启开机自动启动：自动启动文件无法写入"));
        EXPECT_FALSE(defaultConfigured());
    }
    ASSERT_TRUE(blocker.remove());
    LoginItemSettings next(m_settings);
    EXPECT_TRUE(next.isOn());
    EXPECT_TRUE(next.issue().isEmpty());
}

TEST_F(LoginItemSettingsTest, quotesAnExecutablePathThatNeedsIt) {
    const QString executable = m_home.filePath(QStringLiteral("Quill Vane $HOME 100%/quillvane"));
    XdgAutostartService service(entryPath(), executable);
    service.registerItem();
    EXPECT_TRUE(entry().contains("\nExec=\"" + m_home.path().toUtf8() +
                                 "/Quill Vane \\\\$HOME 100%%/quillvane\"\n"));
    EXPECT_EQ(validate(entryPath()), QString());
}
