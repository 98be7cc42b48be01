#include "VirtualMicrophone.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTimer>

#include "PulseServer.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcMicrophone, "app.quillvane.VirtualMicrophone", QtInfoMsg)

const char* const kDescription = "Quillvane Microphone";
const char* const kIdentity = "设备文件身份不匹配，请重新安装";
const char* const kNoLoop = "缺少双向音频流";

const QString kBlockBegin = QStringLiteral("### begin Quillvane Microphone");
const QString kBlockEnd = QStringLiteral("### end Quillvane Microphone");
const QString kFileMarker = QStringLiteral("# Quillvane Microphone");

// A repair that the server undoes at once (a format it refuses, say) must not turn into a loop.
constexpr int kRepairSpacingMs = 1000;
// How long an install waits for the server to show what it loaded.
constexpr int kSettleMs = 2000;
constexpr int kSettlePollMs = 50;
// How often a running host looks whether the server has linked the remap it loaded.
constexpr int kLinkPollMs = 250;

std::string properties() {
    return std::string("'device.description=\"") + kDescription +
           "\" quillvane.version=" + VirtualMicrophone::version + "'";
}

bool expectedFormat(const pa_sample_spec& spec) {
    return spec.format == PA_SAMPLE_FLOAT32LE && spec.rate == 48'000 && spec.channels == 2;
}

MicrophoneState invalid(const char* reason) {
    return MicrophoneState{MicrophoneState::Kind::invalid, reason};
}

QByteArray sha256(const QByteArray& bytes) {
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
}

// PulseAudio's definition: the marked block, markers included; empty when there is none.
QByteArray pulseBlock(const QString& text, bool* complete) {
    const auto begin = text.indexOf(kBlockBegin);
    *complete = false;
    if (begin < 0)
        return {};
    const auto end = text.indexOf(kBlockEnd, begin);
    if (end < 0)
        return text.mid(begin).toUtf8();
    *complete = true;
    return text.mid(begin, end - begin + kBlockEnd.size()).toUtf8();
}

QString declaredVersion(const QByteArray& definition) {
    static const QRegularExpression pattern(QStringLiteral("quillvane\\.version = ([^;\\s)]+)"));
    const auto match = pattern.match(QString::fromUtf8(definition));
    return match.hasMatch() ? match.captured(1) : QString();
}

QString escapedForSpaJson(const std::string& text) {
    QString escaped = QString::fromStdString(text);
    escaped.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    escaped.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return escaped;
}

QByteArray expectedDefinition(bool pipewire) {
    const QString version = QString::fromLatin1(VirtualMicrophone::version);
    const QString sink = QString::fromStdString(VirtualMicrophone::sinkArguments());
    const QString source = QString::fromStdString(VirtualMicrophone::sourceArguments());
    if (pipewire) {
        return (kFileMarker + QStringLiteral(
                    ", loaded by pipewire-pulse at start (quillvane.version = %1).\n"
                    "# Written by quillvane --install-microphone; an edited copy is refused.\n"
                    "pulse.cmd = [\n"
                    "    { cmd = \"load-module\" args = \"module-null-sink %2\" flags = [ ] }\n"
                    "    { cmd = \"load-module\" args = \"module-remap-source %3\" flags = [ ] }\n"
                    "]\n")
                                   .arg(version, escapedForSpaJson(sink.toStdString()),
                                        escapedForSpaJson(source.toStdString())))
            .toUtf8();
    }
    return (kBlockBegin +
            QStringLiteral(" (quillvane.version = %1; written by quillvane --install-microphone)\n"
                           "load-module module-null-sink %2\n"
                           "load-module module-remap-source %3\n")
                .arg(version, sink, source) +
            kBlockEnd)
        .toUtf8();
}

} // namespace

VirtualMicrophone::VirtualMicrophone(PulseServer& server, QString configHome, QObject* parent)
    : QObject(parent), m_server(server), m_configHome(std::move(configHome)), m_pacer(server) {
    connect(&m_server, &PulseServer::changed, this, &VirtualMicrophone::serverChanged);
}

std::string VirtualMicrophone::sinkArguments() {
    return std::string("sink_name=") + sinkName +
           " rate=48000 channels=2 format=float32le sink_properties=" + properties();
}

std::string VirtualMicrophone::sourceArguments() {
    return std::string("source_name=") + sourceName + " master=" + sinkName +
           ".monitor rate=48000 channels=2 format=float32le source_properties=" + properties();
}

QString VirtualMicrophone::definitionPath(bool pipewire) const {
    return pipewire ? m_configHome + QStringLiteral("/pipewire/pipewire-pulse.conf.d/50-quillvane.conf")
                    : m_configHome + QStringLiteral("/pulse/default.pa");
}

// ready here means: the persistent definition is this program's, unchanged.
MicrophoneState VirtualMicrophone::inspectDefinition(bool pipewire) const {
    QFile file(definitionPath(pipewire));
    if (!file.exists())
        return {MicrophoneState::Kind::missing, {}};
    if (!file.open(QIODevice::ReadOnly))
        return invalid(kIdentity);
    const QByteArray content = file.readAll();
    QByteArray definition = content;
    if (pipewire) {
        if (!content.startsWith(kFileMarker.toUtf8()))
            return invalid(kIdentity);
    } else {
        bool complete = false;
        definition = pulseBlock(QString::fromUtf8(content), &complete);
        if (definition.isEmpty())
            return {MicrophoneState::Kind::missing, {}};
        if (!complete)
            return invalid(kIdentity);
    }
    if (declaredVersion(definition) != QLatin1String(version))
        return invalid("驱动版本不匹配，请更新安装");
    if (sha256(definition) != sha256(expectedDefinition(pipewire)))
        return invalid("驱动签名校验失败，请重新安装");
    return {MicrophoneState::Kind::ready, {}};
}

MicrophoneState VirtualMicrophone::inspectDevice(const std::vector<OutputDevice>& devices) const {
    const auto device = std::find_if(devices.begin(), devices.end(),
                                     [](const OutputDevice& d) { return d.uid == sinkName; });
    const PulseSnapshot& snapshot = m_server.snapshot();
    const auto* sink = snapshot.sink(sinkName);
    if (device == devices.end() || !sink)
        return {MicrophoneState::Kind::awaitingLoad, {}};
    if (!device->isVirtual)
        return invalid("设备类型不匹配");
    if (sink->version != version)
        return {MicrophoneState::Kind::awaitingLoad, {}};
    const auto* sinkModule = snapshot.module(sink->ownerModule);
    if (!sinkModule || sinkModule->argument != sinkArguments())
        return invalid(kIdentity);

    const auto* source = snapshot.source(sourceName);
    const auto* sourceModule = source ? snapshot.module(source->ownerModule) : nullptr;
    if (!source || source->monitor || !sourceModule || sourceModule->argument != sourceArguments())
        return invalid(kNoLoop);
    // The remap's capture stream must read our sink's monitor, not whatever the session manager
    // linked it to after our sink went away.
    const auto reader = std::find_if(
        snapshot.sourceOutputs.begin(), snapshot.sourceOutputs.end(),
        [&](const PulseSnapshot::SourceOutput& output) { return output.ownerModule == source->ownerModule; });
    // A remap whose capture stream the session manager has not linked yet is still loading.
    if (reader == snapshot.sourceOutputs.end() || reader->source == PA_INVALID_INDEX)
        return {MicrophoneState::Kind::awaitingLoad, {}};
    if (reader->source != sink->monitorSource)
        return invalid(kNoLoop);
    if (!expectedFormat(sink->spec) || !expectedFormat(source->spec))
        return invalid("音频格式不兼容");
    return {MicrophoneState::Kind::ready, {}};
}

MicrophoneState VirtualMicrophone::inspect(const std::vector<OutputDevice>& devices) {
    // Before the server answered, the kind of server is guessed from the definition present.
    const bool pipewire = m_server.hasSnapshot() ? m_server.snapshot().pipewire
                                                 : QFile::exists(definitionPath(true));
    const MicrophoneState definition = inspectDefinition(pipewire);
    if (definition.kind != MicrophoneState::Kind::ready)
        return definition;
    return inspectDevice(devices);
}

bool VirtualMicrophone::writeDefinition(bool pipewire) const {
    const QString path = definitionPath(pipewire);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QByteArray content = expectedDefinition(pipewire);
    if (!pipewire) {
        // Our block replaces an older one; the rest of the user's file stays as it was. A new
        // file first includes the system's, which a user default.pa otherwise replaces.
        QFile old(path);
        QString text = old.open(QIODevice::ReadOnly)
                           ? QString::fromUtf8(old.readAll())
                           : QStringLiteral(".include /etc/pulse/default.pa\n");
        bool complete = false;
        const QByteArray block = pulseBlock(text, &complete);
        if (!block.isEmpty())
            text.remove(text.indexOf(kBlockBegin), QString::fromUtf8(block).size());
        if (!text.isEmpty() && !text.endsWith(QLatin1Char('\n')))
            text += QLatin1Char('\n');
        content = (text + QString::fromUtf8(content) + QLatin1Char('\n')).toUtf8();
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return false;
    return file.commit();
}

void VirtualMicrophone::install(std::function<void(MicrophoneState)> done) {
    if (!m_server.hasSnapshot()) {
        done(inspect({}));
        return;
    }
    const bool pipewire = m_server.snapshot().pipewire;
    if (inspectDefinition(pipewire).kind != MicrophoneState::Kind::ready && !writeDefinition(pipewire))
        qCWarning(lcMicrophone).noquote() << QStringLiteral("Cannot write ") + definitionPath(pipewire);
    repair([this, done = std::move(done)]() mutable { settle(std::move(done), 0); });
}

// The server announces what it loaded a moment after loading it; the result waits for that,
// within bounds.
void VirtualMicrophone::settle(std::function<void(MicrophoneState)> done, int waitedMs) {
    MicrophoneState state = inspect(m_server.snapshot().outputDevices());
    if (state.kind == MicrophoneState::Kind::ready || waitedMs >= kSettleMs) {
        done(std::move(state));
        return;
    }
    m_server.reread();
    QTimer::singleShot(kSettlePollMs, this, [this, done = std::move(done), waitedMs]() mutable {
        settle(std::move(done), waitedMs + kSettlePollMs);
    });
}

void VirtualMicrophone::repair(std::function<void()> done) {
    if (m_repairing || !m_server.hasSnapshot()) {
        done();
        return;
    }
    const PulseSnapshot& snapshot = m_server.snapshot();
    const MicrophoneState device = inspectDevice(snapshot.outputDevices());
    if (device.kind == MicrophoneState::Kind::ready || settling(device)) {
        done();
        return;
    }
    m_repairing = true;
    qCInfo(lcMicrophone, "Loading Quillvane Microphone (was: %s)", device.message().c_str());

    // What is ours by name but not exactly what this program loads goes first; a remap is always
    // replaced with its sink, whose monitor it must read.
    const auto* sink = snapshot.sink(sinkName);
    const auto* sinkModule = sink ? snapshot.module(sink->ownerModule) : nullptr;
    const bool sinkGood = sink && sink->version == version && sinkModule &&
                          sinkModule->argument == sinkArguments() && expectedFormat(sink->spec);
    std::vector<std::uint32_t> stale;
    for (const auto& module : snapshot.modules) {
        const bool ourSink = module.name == "module-null-sink" &&
                             module.argument.find(std::string("sink_name=") + sinkName) != std::string::npos;
        const bool ourSource = module.name == "module-remap-source" &&
                               module.argument.find(std::string("source_name=") + sourceName + " ") !=
                                   std::string::npos;
        if ((ourSink && !sinkGood) || ourSource)
            stale.push_back(module.index);
    }

    auto finish = [this, done = std::move(done)] {
        m_repairing = false;
        keepDefaultOutput();
        done();
    };
    auto loadSource = [this, finish] {
        m_server.loadModule("module-remap-source", sourceArguments(), [finish](std::uint32_t index) {
            if (index == PA_INVALID_INDEX)
                qCWarning(lcMicrophone, "The sound server refused module-remap-source");
            finish();
        });
    };
    auto loadSink = [this, sinkGood, loadSource, finish] {
        if (sinkGood) {
            loadSource();
            return;
        }
        m_server.loadModule("module-null-sink", sinkArguments(), [loadSource, finish](std::uint32_t index) {
            if (index == PA_INVALID_INDEX) {
                qCWarning(lcMicrophone, "The sound server refused module-null-sink");
                finish();
                return;
            }
            loadSource();
        });
    };
    auto remaining = std::make_shared<std::size_t>(stale.size());
    if (stale.empty()) {
        loadSink();
        return;
    }
    for (const auto index : stale)
        m_server.unloadModule(index, [remaining, loadSink] {
            if (--*remaining == 0)
                loadSink();
        });
}

void VirtualMicrophone::serverChanged() {
    if (!m_keepLoaded)
        return;
    m_pacer.update(m_server.snapshot());
    keepDefaultOutput();
    if (m_repairing || inspectDefinition(m_server.snapshot().pipewire).kind != MicrophoneState::Kind::ready)
        return;
    const MicrophoneState device = inspectDevice(m_server.snapshot().outputDevices());
    if (device.kind == MicrophoneState::Kind::ready)
        return;
    if (settling(device)) {
        QTimer::singleShot(kLinkPollMs, &m_server, &PulseServer::reread);
        return;
    }
    // Installed, but the server lost it (restart, unload, a re-linked remap): load it again.
    if (m_sinceRepair.isValid() && m_sinceRepair.elapsed() < kRepairSpacingMs) {
        QTimer::singleShot(kRepairSpacingMs, this, &VirtualMicrophone::serverChanged);
        return;
    }
    m_sinceRepair.start();
    repair([] {});
}

// Both modules are there as this program loads them and only the server's linking is missing;
// the next change will show it done.
bool VirtualMicrophone::settling(const MicrophoneState& device) const {
    const auto* sink = m_server.snapshot().sink(sinkName);
    return device.kind == MicrophoneState::Kind::awaitingLoad && sink && sink->version == version;
}

void VirtualMicrophone::keepDefaultOutput() {
    if (!m_server.hasSnapshot())
        return;
    const PulseSnapshot& snapshot = m_server.snapshot();
    if (snapshot.defaultSink != sinkName) {
        if (!snapshot.defaultSink.empty())
            m_previousDefault = snapshot.defaultSink;
        return;
    }
    // Our sink became the default output (a server without hardware picks the newest sink): the
    // desktop's sound would go into the microphone. Give the default back.
    std::string other = snapshot.sink(m_previousDefault) ? m_previousDefault : std::string();
    for (const auto& sink : snapshot.sinks)
        if (other.empty() && sink.name != sinkName)
            other = sink.name;
    if (!other.empty()) {
        qCInfo(lcMicrophone, "Default output moved back to %s", other.c_str());
        m_server.setDefaultSink(other);
    }
}

} // namespace quillvane
