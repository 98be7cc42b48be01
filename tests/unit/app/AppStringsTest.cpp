#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEvent>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>

#include "AppStrings.h"

using namespace quillvane;

namespace {

class AppStringsTest : public testing::Test {
protected:
    QTemporaryDir m_dir;
    QSettings m_settings{m_dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    QStringList m_desktop{QStringLiteral("fr_FR"), QStringLiteral("zh_TW")};
};

} // namespace

// The built catalogue is what the program loads: these texts come from translations/quillvane_en.ts.
// That the window's widgets follow a change is the desktop program's test.
TEST_F(AppStringsTest, followsTheChoiceAndTheDesktopAndTranslatesIssuesPieceByPiece) {
    AppStrings strings(m_settings, {}, [this] { return m_desktop; });
    QSignalSpy changed(&strings, &AppStrings::changed);
    const auto starting = [&] { return strings.text(QStringLiteral("正在启动")); };
    EXPECT_EQ(strings.language(), AppLanguage::system);
    EXPECT_EQ(starting(), QStringLiteral("正在启动"));

    strings.setLanguage(AppLanguage::english);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(starting(), QStringLiteral("Starting"));
    EXPECT_EQ(m_settings.value(QStringLiteral("appLanguage")).toString(), QStringLiteral("en"));
    EXPECT_EQ(strings.issue(QStringLiteral("无法删除配对（-25300）")),
              QStringLiteral("Could not delete the pairing (-25300)"));
    EXPECT_EQ(strings.issue(QStringLiteral("没有这条文字")), QStringLiteral("没有这条文字"));
    // A detail in brackets stays as it is, or is translated where it is a text of its own; English
    // brackets are ASCII.
    EXPECT_EQ(strings.issue(QStringLiteral("无法连接 Wayland 混成器（wayland-1）")),
              QStringLiteral("Cannot connect to the Wayland compositor (wayland-1)"));
    const QString nested = strings.issue(QStringLiteral(
        "这个 Wayland 桌面没有可以发送输入的接口：Quillvane 使用 GNOME 的远程桌面接口、KDE 的模拟输入和 "
        "wlroots 混成器的虚拟指针与键盘，其他桌面需要 /dev/uinput（无法通过 /dev/uinput 创建输入设备（No "
        "such device）（x））"));
    EXPECT_TRUE(nested.startsWith(QStringLiteral("Nothing can post input on this Wayland desktop")) &&
                nested.endsWith(QStringLiteral(
                    "/dev/uinput (Cannot create an input device through /dev/uinput (No such device) (x))")))
        << nested.toStdString();

    // Back to following the desktop, whose list changes while the program runs.
    strings.setLanguage(AppLanguage::system);
    EXPECT_EQ(starting(), QStringLiteral("正在启动"));
    m_desktop = {QStringLiteral("en-GB"), QStringLiteral("zh-Hans")};
    QEvent localeChange(QEvent::LocaleChange);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &localeChange);
    EXPECT_EQ(strings.resolvedLanguage(), AppLanguage::english);
    EXPECT_EQ(starting(), QStringLiteral("Starting"));
    EXPECT_EQ(changed.count(), 3);
}

TEST_F(AppStringsTest, showsChineseWithoutACatalogue) {
    m_settings.setValue(QStringLiteral("appLanguage"), QStringLiteral("en"));
    const AppStrings missing(m_settings, m_dir.filePath(QStringLiteral("none")));
    EXPECT_EQ(missing.resolvedLanguage(), AppLanguage::english);
    EXPECT_EQ(missing.text(QStringLiteral("正在启动")), QStringLiteral("正在启动"));
}
