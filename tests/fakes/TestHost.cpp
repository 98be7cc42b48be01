#include "TestHost.h"

#include "Uptime.h"

namespace quillvane {
namespace {

const OutputDevice kVirtualDevice{7, "quillvane-microphone", "Quillvane Microphone", true};

} // namespace

TestHost::TestHost(InputSink& input, std::string name)
    : m_settings(m_dir.filePath(QStringLiteral("quillvane.ini")), QSettings::IniFormat),
      m_keychain(std::make_unique<KeychainStore>(
          KeychainStore::fileStore(m_dir.filePath(QStringLiteral("data")).toStdString()))),
      m_input(input), m_name(std::move(name)) {
    m_audio.setDevices({kVirtualDevice});
    m_settings.setValue(QStringLiteral("audioDevice"), QString::fromStdString(kVirtualDevice.uid));
}

TestHost::~TestHost() {
    if (m_host)
        m_host->stop();
}

void TestHost::useKeychain(KeychainStore keychain) {
    m_keychain = std::make_unique<KeychainStore>(std::move(keychain));
}

HostModel& TestHost::make() {
    m_host = std::make_unique<HostModel>(HostModel::Services{
        .keychain = m_keychain.get(),
        .input = &m_input,
        .audio = &m_audio,
        .microphone = &m_microphone,
        .settings = &m_settings,
        .uptime = uptimeSeconds,
        .doubleClickInterval = [] { return kDoubleClickInterval; },
        .computerName = [name = m_name] { return name; }});
    return *m_host;
}

bool TestHost::start() {
    if (!m_host)
        make();
    m_host->start();
    return m_host->isStarted();
}

} // namespace quillvane
