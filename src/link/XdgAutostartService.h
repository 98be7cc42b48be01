#pragma once

#include <QString>

#include "LoginItemService.h"

namespace quillvane {

// Start at login through the desktop's autostart folder: the program is a login item while
// $XDG_CONFIG_HOME/autostart/quillvane.desktop exists and is not switched off inside (Hidden=true,
// or GNOME's X-GNOME-Autostart-enabled=false). Registering writes the entry with the program's
// absolute path; unregistering removes it.
class XdgAutostartService : public LoginItemService {
public:
    // Empty arguments: the entry in the user's autostart folder, and this program's own path.
    explicit XdgAutostartService(QString entryPath = {}, QString executable = {});

    static QString defaultEntryPath();
    // The Exec value that runs `executable` with no arguments, quoted and escaped for a desktop
    // entry.
    static QString execValue(const QString& executable);

    const QString& entryPath() const { return m_entryPath; }

    LoginItemStatus status() const override;
    void registerItem() override;
    void unregisterItem() override;

private:
    QString m_entryPath;
    QString m_executable;
};

} // namespace quillvane
