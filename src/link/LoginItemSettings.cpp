#include "LoginItemSettings.h"

#include "XdgAutostartService.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

const QString kDefaultConfigured = QStringLiteral("loginItemDefaultConfigured");

} // namespace

LoginItemSettings::LoginItemSettings(QSettings& settings, std::unique_ptr<LoginItemService> service,
                                     QObject* parent)
    : QObject(parent), m_settings(settings),
      m_service(service ? std::move(service) : std::make_unique<XdgAutostartService>()),
      m_status(m_service->status()) {
    if (m_settings.value(kDefaultConfigured, false).toBool())
        return;
    // Any status but notRegistered is the system's doing and left as it is. A failed registration
    // leaves the flag unset, so the next start tries again.
    if (m_status == LoginItemStatus::notRegistered)
        update(true);
    if (isOn())
        m_settings.setValue(kDefaultConfigured, true);
}

LoginItemSettings::~LoginItemSettings() = default;

void LoginItemSettings::refresh() {
    publish(m_service->status(), m_issue);
}

void LoginItemSettings::setEnabled(bool on) {
    m_settings.setValue(kDefaultConfigured, true);
    update(on);
}

void LoginItemSettings::update(bool on) {
    publish(m_service->status(), {});
    // requiresApproval counts as on: asking for on again must not register a second time.
    if (on == isOn())
        return;
    QString issue;
    try {
        if (on)
            m_service->registerItem();
        else
            m_service->unregisterItem();
    } catch (const PadError& error) {
        issue = QString::fromStdString(error.message());
    }
    publish(m_service->status(), std::move(issue));
}

void LoginItemSettings::publish(LoginItemStatus status, QString issue) {
    if (status == m_status && issue == m_issue)
        return;
    m_status = status;
    m_issue = std::move(issue);
    Q_EMIT changed();
}

} // namespace quillvane
