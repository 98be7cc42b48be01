#include "MicrophoneCommand.h"

#include <QEventLoop>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>

#include "PulseServer.h"
#include "VirtualMicrophone.h"

namespace quillvane {
namespace {

// A sound server answers in milliseconds; this only bounds a machine without one.
constexpr int kServerWaitMs = 5000;

} // namespace

int runMicrophoneCommand(bool install) {
    PulseServer server;
    VirtualMicrophone microphone(
        server, QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
    {
        QEventLoop waiting;
        QTimer::singleShot(kServerWaitMs, &waiting, &QEventLoop::quit);
        QObject::connect(&server, &PulseServer::changed, &waiting, &QEventLoop::quit);
        if (!server.hasSnapshot())
            waiting.exec();
    }
    if (!server.hasSnapshot())
        std::fputs("No sound server answered (PulseAudio or PipeWire's pipewire-pulse).\n", stderr);

    MicrophoneState state;
    QEventLoop loop;
    if (install) {
        bool finished = false;
        microphone.install([&](MicrophoneState result) {
            state = std::move(result);
            finished = true;
            loop.quit();
        });
        if (!finished)
            loop.exec();
    } else {
        state = microphone.inspect(server.snapshot().outputDevices());
    }
    std::puts(state.message().c_str());
    return state.kind == MicrophoneState::Kind::ready ? 0 : 1;
}

} // namespace quillvane
