#include "HostRuntime.h"

#include <QGuiApplication>
#include <QStandardPaths>
#include <QStyleHints>
#include <QSysInfo>

#include "InputBackends.h"
#include "Uptime.h"

namespace quillvane {

namespace {

double desktopDoubleClickInterval() {
    return QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0;
}

} // namespace

HostRuntime::HostRuntime(std::string_view inputBackend)
    : m_settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("quillvane"),
                 QStringLiteral("quillvane")),
      m_keychain(KeychainStore::open()),
      m_backend(chooseInputBackend(inputBackend)),
      m_input(*m_backend, uptimeSeconds, desktopDoubleClickInterval),
      m_audio(m_soundServer),
      m_microphone(m_soundServer,
                   QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)) {
    m_microphone.keepLoaded(true);
    m_host = std::make_unique<HostModel>(HostModel::Services{
        .keychain = &m_keychain,
        .input = &m_input,
        .audio = &m_audio,
        .microphone = &m_microphone,
        .settings = &m_settings,
        .uptime = uptimeSeconds,
        .doubleClickInterval = desktopDoubleClickInterval,
        .computerName = [] { return QSysInfo::machineHostName().toStdString(); }});
    if (!m_backend->canPost())
        m_host->reportIssue(QString::fromStdString(m_backend->unavailableReason()));
    m_browsers = std::make_unique<BrowserAccess>(m_keychain, m_settings, uptimeSeconds,
                                                 QSysInfo::machineHostName());
}

void HostRuntime::startBrowsers() {
    try {
        m_browsers->start([this](Link* link) { m_host->receiveLink(link); });
    } catch (const std::exception& error) {
        m_host->reportIssue(QString::fromUtf8(error.what()));
    }
}

} // namespace quillvane
