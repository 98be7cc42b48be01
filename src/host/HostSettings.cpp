#include "HostSettings.h"

#include <QLoggingCategory>

#include <limits>

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcSettings, "app.quillvane.HostConnection", QtInfoMsg)

const QString kDevice = QStringLiteral("audioDevice");
const QString kCode = QStringLiteral("hotkeyCode");
const QString kFlags = QStringLiteral("hotkeyFlags");
const QString kMode = QStringLiteral("voiceShortcutMode");

} // namespace

HostSettings::HostSettings(QSettings& store) : m_store(store) {
    const Shortcut defaults;
    m_deviceUID = store.value(kDevice).toString();

    bool ok = false;
    const qint64 code = store.value(kCode).toLongLong(&ok);
    m_shortcut.code = ok ? code : defaults.code;

    const qint64 flags = store.value(kFlags).toLongLong(&ok);
    if (ok && flags < 0) {
        // A negative value would become a different shortcut if converted; refuse it loudly and
        // leave the stored value for the user to see rather than rewriting it.
        qCCritical(lcSettings, "Stored hotkeyFlags %lld is negative; using the default shortcut",
                   static_cast<long long>(flags));
        m_loadIssue = QStringLiteral("保存的语音快捷键无效，已使用默认快捷键");
    } else if (ok) {
        m_shortcut.modifiers = static_cast<std::uint64_t>(flags);
    }

    m_shortcut.mode = store.value(kMode).toString() == QStringLiteral("toggle")
                          ? VoiceShortcutMode::toggle
                          : VoiceShortcutMode::hold;
}

bool HostSettings::setDeviceUID(const QString& uid) {
    if (uid == m_deviceUID)
        return false;
    m_deviceUID = uid;
    m_store.setValue(kDevice, uid);
    return true;
}

bool HostSettings::setHotkeyCode(std::int64_t code) {
    if (code == m_shortcut.code)
        return false;
    m_shortcut.code = code;
    m_store.setValue(kCode, static_cast<qint64>(code));
    return true;
}

bool HostSettings::storable(std::uint64_t flags) {
    return flags <= static_cast<std::uint64_t>(std::numeric_limits<qint64>::max());
}

bool HostSettings::setHotkeyFlags(std::uint64_t flags) {
    if (flags == m_shortcut.modifiers || !storable(flags))
        return false;
    m_shortcut.modifiers = flags;
    m_store.setValue(kFlags, static_cast<qint64>(flags));
    return true;
}

bool HostSettings::setShortcutMode(VoiceShortcutMode mode) {
    if (mode == m_shortcut.mode)
        return false;
    m_shortcut.mode = mode;
    m_store.setValue(kMode, QString::fromLatin1(toString(mode)));
    return true;
}

bool HostSettings::setPrepDelay(double seconds) {
    if (seconds == m_prepDelay || !(seconds >= 0))
        return false;
    m_prepDelay = seconds;
    return true;
}

} // namespace quillvane
