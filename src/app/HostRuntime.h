#pragma once

#include <QSettings>

#include <memory>
#include <string_view>

#include "BrowserAccess.h"
#include "HostModel.h"
#include "InputBackend.h"
#include "InputController.h"
#include "keychain/KeychainStore.h"
#include "platform/pulse/AudioOutput.h"
#include "platform/pulse/PulseServer.h"
#include "platform/pulse/VirtualMicrophone.h"

namespace quillvane {

// The host session over this machine's services: the settings file, the keyring, the input
// backend chosen at run time and the sound server. Both the terminal mode and the desktop shell
// run the host through one of these; the host is created here and started by the caller, once it
// has connected what it reports.
class HostRuntime {
public:
    explicit HostRuntime(std::string_view inputBackend);

    HostModel& host() { return *m_host; }
    // Browsers as controllers; started with the host, by startBrowsers().
    BrowserAccess& browsers() { return *m_browsers; }
    // Opens the browser endpoint; a refusal becomes the host's issue.
    void startBrowsers();
    // The user's settings file, shared with the desktop shell's own settings.
    QSettings& settings() { return m_settings; }
    const InputBackend& backend() const { return *m_backend; }

private:
    QSettings m_settings;
    KeychainStore m_keychain;
    std::unique_ptr<InputBackend> m_backend;
    InputController m_input;
    PulseServer m_soundServer;
    AudioOutput m_audio;
    VirtualMicrophone m_microphone;
    std::unique_ptr<HostModel> m_host;
    std::unique_ptr<BrowserAccess> m_browsers;
};

} // namespace quillvane
