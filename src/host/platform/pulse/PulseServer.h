#pragma once

#include <QObject>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <pulse/context.h>
#include <pulse/glib-mainloop.h>
#include <pulse/sample.h>

#include "AudioSink.h"

namespace quillvane {

// What the sound server runs, as far as the voice cares: copied out of libpulse's introspection
// replies so that it can be read synchronously on the main loop.
struct PulseSnapshot {
    struct Sink {
        std::uint32_t index = PA_INVALID_INDEX;
        std::string name;
        std::string description;
        bool hardware = false;
        pa_sample_spec spec{};
        std::uint32_t ownerModule = PA_INVALID_INDEX;
        std::uint32_t monitorSource = PA_INVALID_INDEX;
        std::string version; // the "quillvane.version" property
    };
    struct Source {
        std::uint32_t index = PA_INVALID_INDEX;
        std::string name;
        bool monitor = false;
        pa_sample_spec spec{};
        std::uint32_t ownerModule = PA_INVALID_INDEX;
        std::string version;
    };
    struct Module {
        std::uint32_t index = PA_INVALID_INDEX;
        std::string name;
        std::string argument;
    };
    struct SourceOutput {
        std::uint32_t index = PA_INVALID_INDEX;
        std::uint32_t source = PA_INVALID_INDEX;
        std::uint32_t ownerModule = PA_INVALID_INDEX;
    };

    std::vector<Sink> sinks;
    std::vector<Source> sources;
    std::vector<Module> modules;
    std::vector<SourceOutput> sourceOutputs;
    std::string defaultSink;
    bool pipewire = false; // pipewire-pulse rather than PulseAudio itself

    const Sink* sink(const std::string& name) const;
    const Source* source(const std::string& name) const;
    const Module* module(std::uint32_t index) const;
    // The sinks as output devices: uid = sink name, name = description, virtual = not hardware.
    std::vector<OutputDevice> outputDevices() const;
};

// One connection to the PulseAudio protocol server (PulseAudio, or PipeWire's pipewire-pulse) on
// the GLib main context that Qt's event loop runs, so every callback arrives on the main thread.
// It keeps a snapshot of sinks, sources, modules and capture streams, refreshed after every change
// the server announces, and reconnects by itself when the server goes away and comes back.
class PulseServer : public QObject {
    Q_OBJECT
public:
    explicit PulseServer(QObject* parent = nullptr);
    ~PulseServer() override;

    // The ready context, or null while (re)connecting.
    pa_context* context() const { return m_ready ? m_context : nullptr; }
    bool isReady() const { return m_ready; }
    // Valid once `changed` was emitted after the connection became ready.
    const PulseSnapshot& snapshot() const { return m_snapshot; }
    bool hasSnapshot() const { return m_hasSnapshot; }

    // `done` gets the new module's index, or PA_INVALID_INDEX when loading failed.
    void loadModule(const std::string& name, const std::string& argument,
                    std::function<void(std::uint32_t)> done);
    void unloadModule(std::uint32_t index, std::function<void()> done);
    void setDefaultSink(const std::string& name);
    // Asks the server whether it has this sink now (the snapshot may be a change behind).
    void findSink(const std::string& name, std::function<void(bool)> done);
    // Runs `done` once the server has answered everything asked before it.
    void sync(std::function<void()> done);
    // Reads the snapshot again without waiting for the server to announce a change (it does
    // not announce every link it makes).
    void reread() { refresh(); }

Q_SIGNALS:
    // The snapshot was read again.
    void changed();
    // The connection was lost (the server stopped or restarted); a new one is being made.
    void lost();

private:
    void connectToServer();
    void dropContext();
    void stateChanged();
    void refresh();
    void partArrived();

    pa_glib_mainloop* m_mainloop = nullptr;
    pa_context* m_context = nullptr;
    bool m_ready = false;
    QTimer m_retry;

    PulseSnapshot m_snapshot;
    PulseSnapshot m_next;
    bool m_hasSnapshot = false;
    int m_outstanding = 0;    // introspection replies still due for m_next
    bool m_dirty = false;     // a change arrived while a refresh was under way
    std::uint64_t m_epoch = 0; // replies of a dropped context are ignored
};

} // namespace quillvane
