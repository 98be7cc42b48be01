// The voice settings as stored across launches, and their checks, through the host's properties.

#include <gtest/gtest.h>

#include <QSettings>
#include <QTemporaryDir>

#include "HostModel.h"
#include "Uptime.h"

using namespace quillvane;

TEST(HostSettings, storedValuesLoadAsTheUserLeftThemAndBrokenOnesAsDefaults) {
    QTemporaryDir dir;
    QSettings settings(dir.filePath(QStringLiteral("q.ini")), QSettings::IniFormat);
    HostModel::Services services;
    services.settings = &settings;
    services.uptime = uptimeSeconds;
    // The defaults (Control+Option+Space, held) are the session test's.
    {
        HostModel host(services);
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
