#include "Controller.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

#include "Random.h"
#include "VoiceFile.h"
#include "pointer/TrackpadMoveBatch.h"
#include "protocol/PadError.h"

namespace quillvane {
namespace {

void print(const QString& line) {
    std::fputs(line.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

// Decimal, or hexadecimal with 0x.
std::optional<std::uint64_t> parseUnsigned(const QString& text) {
    bool ok = false;
    const auto value = text.toULongLong(&ok, 0);
    return ok ? std::optional(value) : std::nullopt;
}

std::optional<double> parseDouble(const QString& text) {
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok ? std::optional(value) : std::nullopt;
}

ControllerChannel* makeChannel(const QString& name, const PairingProfile& profile) {
    return new ControllerChannel(name, profile.id, *profile.keyData());
}

} // namespace

Controller::Controller(PairingProfile profile, Uuid client, QObject* parent)
    : QObject(parent), m_profile(std::move(profile)), m_client(client) {
    m_heartbeat.setInterval(1000);
    connect(&m_heartbeat, &QTimer::timeout, this, &Controller::sendHeartbeat);
    m_wait.setSingleShot(true);
    connect(&m_wait, &QTimer::timeout, this, &Controller::runQueue);
}

void Controller::connectTo(const QString& host, quint16 port) {
    m_host = host;
    m_port = port;
    bindControl();
}

void Controller::bindControl() {
    m_control.reset(makeChannel(QStringLiteral("control"), m_profile));
    auto& channel = *m_control;
    channel.onReady = [this] {
        WireMessage hello(WireMessage::Kind::hello);
        hello.channel = "control";
        hello.client = m_client;
        m_control->send(hello);
    };
    channel.onMessage = [this](const WireMessage& message, const QByteArray& json) {
        received(*m_control, message, json);
    };
    channel.onClose = [this](const QString& reason) { closed(*m_control, reason); };
    channel.connectTo(m_host, m_port);
}

void Controller::bindAudio() {
    m_audio.reset(makeChannel(QStringLiteral("audio"), m_profile));
    auto& channel = *m_audio;
    channel.onReady = [this] {
        WireMessage hello(WireMessage::Kind::hello);
        hello.channel = "audio";
        hello.client = m_client;
        m_audio->send(hello);
    };
    channel.onMessage = [this](const WireMessage& message, const QByteArray& json) {
        received(*m_audio, message, json);
    };
    channel.onClose = [this](const QString& reason) { closed(*m_audio, reason); };
    channel.connectTo(m_host, m_port);
}

void Controller::received(ControllerChannel& channel, const WireMessage& message,
                          const QByteArray& json) {
    print(channel.name() + QLatin1Char(' ') + QString::fromUtf8(json));
    if (m_voice)
        m_voice->received(message);
    if (message.kind != WireMessage::Kind::welcome || m_bound)
        return;
    if (&channel == m_control.get()) {
        bindAudio();
    } else {
        m_bound = true;
        m_heartbeat.start();
        runQueue();
    }
}

void Controller::closed(ControllerChannel& channel, const QString& reason) {
    if (&channel == m_control.get() && !m_control->isEncrypted() && !m_audio && onUnreachable) {
        onUnreachable(reason);
        return;
    }
    if (m_resuming)
        return;
    print(QStringLiteral("closed ") + channel.name() + QStringLiteral(": ") + reason);
    // A session lost while bound is resumed, as the phone resumes one when it comes back to the
    // foreground; one that ended on purpose (finishInput, or the host closing it: the computer
    // dropped this phone or stopped) is not.
    m_resume.suspend(m_bound && !m_finished && !channel.endedByHost());
    if (onLost && m_resume.takeResume()) {
        m_resuming = true;
        m_bound = false;
        m_heartbeat.stop();
        // Not from inside the channel's own callback.
        QTimer::singleShot(0, this, [this, reason] {
            m_control.reset();
            m_audio.reset();
            m_resuming = false;
            onLost(reason);
        });
        return;
    }
    fail(reason);
}

void Controller::fail(const QString&) {
    m_exitStatus = 1;
    m_heartbeat.stop();
    QCoreApplication::exit(1);
}

void Controller::sendHeartbeat() {
    if (m_heartbeats && m_control)
        m_control->send(WireMessage(WireMessage::Kind::heartbeat));
}

// Holds the queue until the host has answered the utterance.
void Controller::speak(const QString& path) {
    std::vector<float> samples;
    try {
        samples = readVoiceFile(path.toStdString());
    } catch (const std::exception& error) {
        print(QStringLiteral("error: ") + QString::fromUtf8(error.what()));
        m_exitStatus = 2;
        return;
    }
    m_voice = std::make_unique<VoiceStreamer>(std::move(samples), m_chunkMs, randomUuid());
    m_voice->sendControl = [this](const WireMessage& message) { m_control->send(message); };
    m_voice->sendAudio = [this](const WireMessage& message) { m_audio->send(message); };
    m_voice->onError = [](const QString& reason) { print(QStringLiteral("voice failed: ") + reason); };
    m_voice->onFinished = [this](bool done) {
        if (!done)
            m_exitStatus = 1;
        // Not from inside the streamer's own call.
        QTimer::singleShot(0, this, [this] {
            m_voice.reset();
            runQueue();
        });
    };
    m_voice->start();
}

// Holds the queue until the trace has played out and its gestures have ended.
void Controller::replay(const QString& path) {
    TraceFile trace;
    try {
        trace = TraceFile::read(path);
    } catch (const std::exception& error) {
        print(QStringLiteral("error: ") + QString::fromUtf8(error.what()));
        m_exitStatus = 2;
        return;
    }
    m_replay = std::make_unique<ReplayPlayer>(std::move(trace));
    // Messages made while the session is being resumed are dropped, as a phone's would be.
    m_replay->send = [this](const WireMessage& message) {
        if (m_bound)
            m_control->send(message);
    };
    m_replay->onFinished = [this] {
        QTimer::singleShot(0, this, [this] {
            m_replay.reset();
            runQueue();
        });
    };
    m_replay->start();
}

void Controller::enqueue(const QString& line) {
    m_queue.push_back(line);
    if (m_bound && !busy())
        runQueue();
}

void Controller::finishInput(double linger) {
    m_inputFinished = true;
    m_linger = linger;
    if (m_bound && !busy())
        runQueue();
}

void Controller::runQueue() {
    while (m_bound && !m_queue.empty() && !busy()) {
        const QString line = m_queue.front();
        m_queue.pop_front();
        run(line);
    }
    if (m_bound && m_queue.empty() && !busy() && m_inputFinished) {
        m_inputFinished = false;
        QTimer::singleShot(static_cast<int>(m_linger * 1000), this, [this] {
            m_resume.cancel();
            m_finished = true;
            m_control->close();
            m_audio->close();
            QCoreApplication::exit(m_exitStatus);
        });
    }
}

void Controller::run(const QString& line) {
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || trimmed.startsWith(QLatin1Char('#')))
        return;
    const QStringList words = trimmed.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString command = words.front();
    auto usage = [&](const char* text) {
        print(QStringLiteral("error: ") + QString::fromUtf8(text));
        m_exitStatus = 2;
    };

    try {
        if (command == QStringLiteral("move")) {
            std::vector<TrackpadVector> samples;
            for (qsizetype i = 1; i + 1 < words.size(); i += 2) {
                const auto x = parseDouble(words[i]);
                const auto y = parseDouble(words[i + 1]);
                if (!x || !y)
                    return usage("move DX DY [DX DY ...]");
                samples.push_back({*x, *y});
            }
            if (samples.empty() || words.size() % 2 == 0)
                return usage("move DX DY [DX DY ...]");
            for (const auto& message : TrackpadMoveBatch::messages(samples))
                m_control->send(message);
        } else if (command == QStringLiteral("scroll")) {
            const auto x = words.size() > 1 ? parseDouble(words[1]) : std::nullopt;
            const auto y = words.size() > 2 ? parseDouble(words[2]) : std::nullopt;
            if (!x || !y)
                return usage("scroll X Y [PHASE]");
            WireMessage message(WireMessage::Kind::scroll);
            message.x = *x;
            message.y = *y;
            if (words.size() > 3) {
                message.scrollPhase = scrollPhaseFromString(words[3].toStdString());
                if (!message.scrollPhase)
                    return usage("scroll phase: began changed ended cancelled momentumBegan "
                                 "momentumChanged momentumEnded");
            }
            m_control->send(message);
        } else if (command == QStringLiteral("click")) {
            WireMessage message(WireMessage::Kind::click);
            message.flag = words.contains(QStringLiteral("right"));
            if (words.contains(QStringLiteral("continuing")))
                message.continuingClick = true;
            m_control->send(message);
        } else if (command == QStringLiteral("drag")) {
            if (words.size() < 2 || (words[1] != QStringLiteral("on") && words[1] != QStringLiteral("off")))
                return usage("drag on|off [continuing]");
            WireMessage message(WireMessage::Kind::drag);
            message.flag = words[1] == QStringLiteral("on");
            message.continuingClick = words.contains(QStringLiteral("continuing"));
            m_control->send(message);
        } else if (command == QStringLiteral("key")) {
            const auto code = words.size() > 1 ? parseUnsigned(words[1]) : std::nullopt;
            const auto modifiers = words.size() > 2 ? parseUnsigned(words[2]) : std::optional<std::uint64_t>(0);
            if (!code || *code > 0xFFFF || !modifiers)
                return usage("key CODE [MODIFIERS]");
            WireMessage message(WireMessage::Kind::key);
            message.keyCode = static_cast<std::uint16_t>(*code);
            message.modifiers = *modifiers;
            m_control->send(message);
        } else if (command == QStringLiteral("text")) {
            WireMessage message(WireMessage::Kind::text);
            message.text = trimmed.mid(command.size() + 1).toStdString();
            m_control->send(message);
        } else if (command == QStringLiteral("cancel")) {
            m_control->send(WireMessage(WireMessage::Kind::cancel));
        } else if (command == QStringLiteral("heartbeat")) {
            if (words.size() != 2)
                return usage("heartbeat on|off");
            m_heartbeats = words[1] == QStringLiteral("on");
        } else if (command == QStringLiteral("raw")) {
            // raw control|audio JSON: sends the text as one frame, unchecked.
            if (words.size() < 3)
                return usage("raw control|audio JSON");
            const QByteArray payload = trimmed.mid(trimmed.indexOf(words[2])).toUtf8();
            (words[1] == QStringLiteral("audio") ? m_audio : m_control)->sendRaw(payload);
        } else if (command == QStringLiteral("wait")) {
            const auto seconds = words.size() > 1 ? parseDouble(words[1]) : std::nullopt;
            if (!seconds || *seconds < 0)
                return usage("wait SECONDS");
            m_wait.start(static_cast<int>(*seconds * 1000));
        } else if (command == QStringLiteral("voice")) {
            if (words.size() < 2)
                return usage("voice FILE");
            speak(trimmed.mid(command.size() + 1).trimmed());
        } else if (command == QStringLiteral("replay")) {
            if (words.size() < 2)
                return usage("replay TRACE.json");
            replay(trimmed.mid(command.size() + 1).trimmed());
        } else if (command == QStringLiteral("quit")) {
            m_queue.clear();
            m_inputFinished = true;
            m_linger = 0;
        } else {
            return usage("unknown command (move scroll click drag key text cancel heartbeat raw wait voice replay quit)");
        }
    } catch (const std::exception& error) {
        print(QStringLiteral("error: ") + QString::fromUtf8(error.what()));
        m_exitStatus = 2;
    }
}

} // namespace quillvane
