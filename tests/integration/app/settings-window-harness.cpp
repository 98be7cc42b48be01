// The settings window over a real host session, on its own: the input backend this desktop
// offers, the key in the user's keyring, recorded audio with one virtual output. Prints the port
// and the pairing link like `quillvane --show-pairing`, so a test can pair a controller with it.

#include <QApplication>
#include <QSettings>
#include <QStyleHints>

#include <cstdio>

#include "HostModel.h"
#include "InputBackends.h"
#include "InputController.h"
#include "SettingsWindow.h"
#include "Uptime.h"
#include "keychain/KeychainStore.h"
#include "platform/recording/RecordingAudio.h"

using namespace quillvane;

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("quillvane"),
                       QStringLiteral("quillvane"));
    KeychainStore keychain = KeychainStore::open();
    const auto backend = chooseInputBackend();
    const auto doubleClick = [] { return QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0; };
    InputController input(*backend, uptimeSeconds, doubleClick);
    RecordingAudio audio;
    audio.setDevices({{1, "QuillvaneMicrophone_UID", "Quillvane Microphone", true},
                      {2, "speakers", "Built-in Speakers", false}});
    FixedMicrophone microphone({MicrophoneState::Kind::missing, {}});
    HostModel host({.keychain = &keychain,
                    .input = &input,
                    .audio = &audio,
                    .microphone = &microphone,
                    .settings = &settings,
                    .uptime = uptimeSeconds,
                    .doubleClickInterval = doubleClick,
                    .computerName = [] { return std::string("harness"); }});
    QObject::connect(&host, &HostModel::profileChanged, &app, [&] {
        std::printf("%s\n", host.pairingLink().toUtf8().constData());
        std::fflush(stdout);
    });
    host.start();
    if (!host.isStarted())
        return 1;
    std::printf("Listening on port %u\n", host.port());
    std::fflush(stdout);

    SettingsWindow window(host, [](const QString& text) { return text; });
    window.setInputBackend(backend.get());
    window.present();
    return app.exec();
}
