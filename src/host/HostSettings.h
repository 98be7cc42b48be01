#pragma once

#include <QSettings>
#include <QString>

#include <cstdint>
#include <optional>

#include "voice/VoiceShortcutMode.h"

namespace quillvane {

// The voice settings the user chooses, kept across launches in the user's settings file, and
// their checks: a stored value of the wrong type falls back to its default, and a shortcut is
// never silently changed by a conversion. Changes are stored at once.
class HostSettings {
public:
    struct Shortcut {
        std::int64_t code = 49;            // the space bar
        std::uint64_t modifiers = 0xC0000; // Control together with Option
        VoiceShortcutMode mode = VoiceShortcutMode::hold;
    };

    // Loads from `store`, which must outlive the settings.
    explicit HostSettings(QSettings& store);

    // A stored value that was refused on loading, in a sentence for the user.
    const std::optional<QString>& loadIssue() const { return m_loadIssue; }

    const QString& deviceUID() const { return m_deviceUID; }
    const Shortcut& shortcut() const { return m_shortcut; }
    // Delay between pressing the shortcut and telling the phone to stream; not stored.
    double prepDelay() const { return m_prepDelay; }

    // Each returns whether the value changed (and was stored).
    bool setDeviceUID(const QString& uid);
    bool setHotkeyCode(std::int64_t code);
    // Flags are stored as a signed integer; flags that could not be read back unchanged are not
    // storable, and the caller says so.
    static bool storable(std::uint64_t flags);
    bool setHotkeyFlags(std::uint64_t flags);
    bool setShortcutMode(VoiceShortcutMode mode);
    bool setPrepDelay(double seconds);

private:
    QSettings& m_store;
    std::optional<QString> m_loadIssue;
    QString m_deviceUID;
    Shortcut m_shortcut;
    double m_prepDelay = 0.3;
};

} // namespace quillvane
