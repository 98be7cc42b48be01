#include "PulseServer.h"

#include <QLoggingCategory>

#include <algorithm>
#include <chrono>
#include <list>

#include <pulse/introspect.h>
#include <pulse/subscribe.h>

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcPulse, "app.quillvane.SoundServer", QtInfoMsg)

// A server that went away (restarted, or replaced by another) is looked for again this often.
constexpr std::chrono::milliseconds kRetryInterval{200};

std::string propertyOf(pa_proplist* list, const char* key) {
    const char* value = list ? pa_proplist_gets(list, key) : nullptr;
    return value ? value : "";
}

template <class Items, class Item>
const Item* findByName(const Items& items, const std::string& name) {
    const auto found = std::find_if(items.begin(), items.end(),
                                    [&](const Item& item) { return item.name == name; });
    return found == items.end() ? nullptr : &*found;
}

// Pending requests whose completion the caller waits for. The list owns them so that a dropped
// connection can still answer every caller (libpulse calls nothing once the context is gone).
struct Call {
    PulseServer* server;
    std::function<void(std::uint32_t)> done;
    bool seen = false; // a lookup found what it asked for
};
std::list<Call>& calls() {
    static std::list<Call> pending;
    return pending;
}

Call* addCall(PulseServer* server, std::function<void(std::uint32_t)> done) {
    calls().push_back({server, std::move(done), false});
    return &calls().back();
}

void finishCall(void* data, std::uint32_t result) {
    auto& pending = calls();
    const auto found = std::find_if(pending.begin(), pending.end(),
                                    [&](const Call& call) { return &call == data; });
    if (found == pending.end())
        return;
    auto done = std::move(found->done);
    pending.erase(found);
    if (done)
        done(result);
}

void failCalls(PulseServer* server) {
    std::vector<std::function<void(std::uint32_t)>> orphans;
    auto& pending = calls();
    for (auto it = pending.begin(); it != pending.end();) {
        if (it->server == server) {
            orphans.push_back(std::move(it->done));
            it = pending.erase(it);
        } else {
            ++it;
        }
    }
    for (auto& done : orphans)
        if (done)
            done(PA_INVALID_INDEX);
}

void release(pa_operation* operation) {
    if (operation)
        pa_operation_unref(operation);
}

} // namespace

const PulseSnapshot::Sink* PulseSnapshot::sink(const std::string& name) const {
    return findByName<decltype(sinks), Sink>(sinks, name);
}

const PulseSnapshot::Source* PulseSnapshot::source(const std::string& name) const {
    return findByName<decltype(sources), Source>(sources, name);
}

const PulseSnapshot::Module* PulseSnapshot::module(std::uint32_t index) const {
    const auto found = std::find_if(modules.begin(), modules.end(),
                                    [&](const Module& module) { return module.index == index; });
    return found == modules.end() ? nullptr : &*found;
}

std::vector<OutputDevice> PulseSnapshot::outputDevices() const {
    std::vector<OutputDevice> devices;
    for (const auto& sink : sinks)
        devices.push_back({sink.index, sink.name, sink.description, !sink.hardware});
    return devices;
}

PulseServer::PulseServer(QObject* parent) : QObject(parent) {
    // Null: the default GLib main context, the one Qt's event dispatcher iterates.
    m_mainloop = pa_glib_mainloop_new(nullptr);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &PulseServer::connectToServer);
    connectToServer();
}

PulseServer::~PulseServer() {
    m_ready = false; // going away on purpose: nothing is lost
    dropContext();
    pa_glib_mainloop_free(m_mainloop);
}

void PulseServer::connectToServer() {
    dropContext();
    pa_proplist* properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Quillvane");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "app.quillvane");
    m_context = pa_context_new_with_proplist(pa_glib_mainloop_get_api(m_mainloop), "Quillvane",
                                             properties);
    pa_proplist_free(properties);
    if (!m_context) {
        m_retry.start(kRetryInterval);
        return;
    }
    pa_context_set_state_callback(
        m_context, [](pa_context*, void* self) { static_cast<PulseServer*>(self)->stateChanged(); },
        this);
    // Never start a server of our own: the user's session owns the sound server.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        dropContext();
        m_retry.start(kRetryInterval);
    }
}

void PulseServer::dropContext() {
    const bool wasReady = m_ready;
    m_ready = false;
    m_hasSnapshot = false;
    m_snapshot = PulseSnapshot{};
    m_outstanding = 0;
    m_dirty = false;
    ++m_epoch;
    if (m_context) {
        pa_context_set_state_callback(m_context, nullptr, nullptr);
        pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
        pa_context_disconnect(m_context);
        pa_context_unref(m_context);
        m_context = nullptr;
    }
    failCalls(this);
    if (wasReady) {
        qCInfo(lcPulse, "Sound server connection lost; reconnecting");
        Q_EMIT lost();
    }
}

void PulseServer::stateChanged() {
    switch (pa_context_get_state(m_context)) {
    case PA_CONTEXT_READY: {
        m_ready = true;
        qCInfo(lcPulse, "Connected to %s", pa_context_get_server(m_context));
        pa_context_set_subscribe_callback(
            m_context,
            [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
                static_cast<PulseServer*>(self)->refresh();
            },
            this);
        const auto mask = static_cast<pa_subscription_mask_t>(
            PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_MODULE |
            PA_SUBSCRIPTION_MASK_SOURCE_OUTPUT | PA_SUBSCRIPTION_MASK_SERVER);
        release(pa_context_subscribe(m_context, mask, nullptr, nullptr));
        refresh();
        return;
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED: {
        const bool wasReady = m_ready;
        m_ready = false;
        m_hasSnapshot = false;
        m_snapshot = PulseSnapshot{};
        // The context is dropped from the event loop, outside libpulse's callback; a server that
        // is not there yet is tried again a little later rather than in a tight loop.
        m_retry.start(wasReady ? std::chrono::milliseconds(0) : kRetryInterval);
        if (wasReady) {
            qCInfo(lcPulse, "Sound server connection lost; reconnecting");
            failCalls(this);
            Q_EMIT lost();
        }
        return;
    }
    default:
        return;
    }
}

void PulseServer::refresh() {
    if (!m_ready)
        return;
    if (m_outstanding > 0) {
        m_dirty = true;
        return;
    }
    m_next = PulseSnapshot{};
    m_outstanding = 5;

    release(pa_context_get_sink_info_list(
        m_context,
        [](pa_context*, const pa_sink_info* info, int eol, void* data) {
            if (eol) {
                static_cast<PulseServer*>(data)->partArrived();
                return;
            }
            static_cast<PulseServer*>(data)->m_next.sinks.push_back(
                {info->index, info->name ? info->name : "",
                 info->description ? info->description : "", (info->flags & PA_SINK_HARDWARE) != 0,
                 info->sample_spec, info->owner_module, info->monitor_source,
                 propertyOf(info->proplist, "quillvane.version")});
        },
        this));
    release(pa_context_get_source_info_list(
        m_context,
        [](pa_context*, const pa_source_info* info, int eol, void* data) {
            if (eol) {
                static_cast<PulseServer*>(data)->partArrived();
                return;
            }
            static_cast<PulseServer*>(data)->m_next.sources.push_back(
                {info->index, info->name ? info->name : "",
                 info->monitor_of_sink != PA_INVALID_INDEX, info->sample_spec, info->owner_module,
                 propertyOf(info->proplist, "quillvane.version")});
        },
        this));
    release(pa_context_get_module_info_list(
        m_context,
        [](pa_context*, const pa_module_info* info, int eol, void* data) {
            if (eol) {
                static_cast<PulseServer*>(data)->partArrived();
                return;
            }
            static_cast<PulseServer*>(data)->m_next.modules.push_back(
                {info->index, info->name ? info->name : "", info->argument ? info->argument : ""});
        },
        this));
    release(pa_context_get_source_output_info_list(
        m_context,
        [](pa_context*, const pa_source_output_info* info, int eol, void* data) {
            if (eol) {
                static_cast<PulseServer*>(data)->partArrived();
                return;
            }
            static_cast<PulseServer*>(data)->m_next.sourceOutputs.push_back(
                {info->index, info->source, info->owner_module});
        },
        this));
    release(pa_context_get_server_info(
        m_context,
        [](pa_context*, const pa_server_info* info, void* data) {
            auto* self = static_cast<PulseServer*>(data);
            if (info) {
                self->m_next.defaultSink = info->default_sink_name ? info->default_sink_name : "";
                const std::string name = info->server_name ? info->server_name : "";
                self->m_next.pipewire = name.find("PipeWire") != std::string::npos;
            }
            static_cast<PulseServer*>(data)->partArrived();
        },
        this));
}

void PulseServer::partArrived() {
    if (--m_outstanding > 0)
        return;
    m_snapshot = std::move(m_next);
    m_hasSnapshot = true;
    if (m_dirty) {
        m_dirty = false;
        refresh();
    }
    Q_EMIT changed();
}

void PulseServer::loadModule(const std::string& name, const std::string& argument,
                             std::function<void(std::uint32_t)> done) {
    if (!m_ready) {
        done(PA_INVALID_INDEX);
        return;
    }
    release(pa_context_load_module(
        m_context, name.c_str(), argument.c_str(),
        [](pa_context*, std::uint32_t index, void* call) { finishCall(call, index); },
        addCall(this, std::move(done))));
}

void PulseServer::unloadModule(std::uint32_t index, std::function<void()> done) {
    if (!m_ready) {
        done();
        return;
    }
    release(pa_context_unload_module(
        m_context, index, [](pa_context*, int, void* call) { finishCall(call, 0); },
        addCall(this, [done = std::move(done)](std::uint32_t) { done(); })));
}

void PulseServer::setDefaultSink(const std::string& name) {
    if (m_ready)
        release(pa_context_set_default_sink(m_context, name.c_str(), nullptr, nullptr));
}

void PulseServer::findSink(const std::string& name, std::function<void(bool)> done) {
    if (!m_ready) {
        done(false);
        return;
    }
    release(pa_context_get_sink_info_by_name(
        m_context, name.c_str(),
        [](pa_context*, const pa_sink_info* info, int eol, void* data) {
            auto* call = static_cast<Call*>(data);
            if (info)
                call->seen = true;
            if (eol)
                finishCall(call, call->seen ? 1 : 0);
        },
        addCall(this, [done = std::move(done)](std::uint32_t found) {
            done(found == 1);
        })));
}

void PulseServer::sync(std::function<void()> done) {
    if (!m_ready) {
        done();
        return;
    }
    // Any request is answered in order; the server's information is the cheapest one.
    release(pa_context_get_server_info(
        m_context, [](pa_context*, const pa_server_info*, void* call) { finishCall(call, 0); },
        addCall(this, [done = std::move(done)](std::uint32_t) { done(); })));
}

} // namespace quillvane
