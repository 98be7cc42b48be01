#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include <functional>
#include <string>
#include <vector>

#include "AudioSink.h"
#include "MicrophonePacer.h"

namespace quillvane {

class PulseServer;
struct PulseSnapshot;

// "Quillvane Microphone" on a PulseAudio-protocol sound server: a null sink
// "QuillvaneMicrophone_UID" that the voice plays into, and a module-remap-source over its monitor
// that recording programs list as a microphone (a real source, not a monitor). Both carry
// quillvane.version. Installing loads both now and writes a persistent definition the server reads
// at its next start: pipewire-pulse.conf.d/50-quillvane.conf under PipeWire, a marked block in the
// user's default.pa (which includes the system one) under PulseAudio. The definition's SHA-256
// must equal the one of what this program writes, which is the signature check.
//
// Once installed, a running host keeps the device there: after a server restart, or when someone
// unloads a module, it loads what is missing again. When the sink disappears, PipeWire's session
// manager re-links the remap to the default sink's monitor, which would put the desktop's sound
// on the microphone; such a remap is unloaded and replaced. Our sink never stays the default output.
// While something records from the microphone, the running host also paces it (MicrophonePacer).
class VirtualMicrophone final : public QObject, public MicrophoneInspector {
    Q_OBJECT
public:
    static constexpr const char* sinkName = "QuillvaneMicrophone_UID";
    static constexpr const char* sourceName = "QuillvaneMicrophone";
    static constexpr const char* version = "0.1.0";

    // `configHome` is the user's configuration folder ($XDG_CONFIG_HOME).
    VirtualMicrophone(PulseServer& server, QString configHome, QObject* parent = nullptr);

    // Whether this object reloads an installed device the server lost, and keeps our sink from
    // being the default output (the running host does; a one-off status query does not).
    void keepLoaded(bool on) { m_keepLoaded = on; }

    MicrophoneState inspect(const std::vector<OutputDevice>& devices) override;
    void install(std::function<void(MicrophoneState)> done) override;

    // The module arguments this program loads; exact, so that a changed device is told apart.
    static std::string sinkArguments();
    static std::string sourceArguments();
    // Where the persistent definition lives for this server kind.
    QString definitionPath(bool pipewire) const;

private:
    MicrophoneState inspectDefinition(bool pipewire) const;
    // The loaded device: missing parts and wrong ones.
    MicrophoneState inspectDevice(const std::vector<OutputDevice>& devices) const;
    bool writeDefinition(bool pipewire) const;
    void repair(std::function<void()> done);
    void settle(std::function<void(MicrophoneState)> done, int waitedMs);
    void serverChanged();
    void keepDefaultOutput();
    bool settling(const MicrophoneState& device) const;

    PulseServer& m_server;
    QString m_configHome;
    bool m_keepLoaded = false;
    bool m_repairing = false;
    QElapsedTimer m_sinceRepair; // since the last repair made without being asked
    std::string m_previousDefault; // the default output before our sink took it
    MicrophonePacer m_pacer;
};

} // namespace quillvane
