#pragma once

#include <QObject>
#include <QSettings>
#include <QString>

#include <memory>

#include "LoginItemService.h"

namespace quillvane {

// Keeps the program registered to start at login: switched on by itself the first time it runs,
// following the user's choice from then on ("loginItemDefaultConfigured" records that either has
// happened). Failures of the service never escape: their text becomes issue(), untranslated.
class LoginItemSettings : public QObject {
    Q_OBJECT

public:
    // No service: the XDG autostart entry of this program.
    explicit LoginItemSettings(QSettings& settings, std::unique_ptr<LoginItemService> service = {},
                               QObject* parent = nullptr);
    ~LoginItemSettings() override;

    LoginItemStatus status() const { return m_status; }
    bool isOn() const {
        return m_status == LoginItemStatus::enabled || m_status == LoginItemStatus::requiresApproval;
    }
    bool needsApproval() const { return m_status == LoginItemStatus::requiresApproval; }
    // The last failed change, empty when the last change went through.
    const QString& issue() const { return m_issue; }

    // Reads the status again: the user may have changed it outside the program.
    void refresh();
    // The user's choice.
    void setEnabled(bool on);

Q_SIGNALS:
    void changed();

private:
    void update(bool on);
    void publish(LoginItemStatus status, QString issue);

    QSettings& m_settings;
    std::unique_ptr<LoginItemService> m_service;
    LoginItemStatus m_status = LoginItemStatus::notRegistered;
    QString m_issue;
};

} // namespace quillvane
