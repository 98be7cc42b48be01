// quillvane-controller: the phone's side of the link on the command line. Given a pairing link it
// finds the host by DNS-SD (or takes --host/--port), binds its control and audio channels, keeps
// them alive with heartbeats, and sends the commands given as arguments, or read line by line
// from standard input, printing every message the host sends.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <iostream>
#include <memory>
#include <unistd.h>

#include "Controller.h"
#include "HostFinder.h"
#include "Random.h"
#include "ReplayPlayer.h"
#include "pairing/PairingHistory.h"
#include "protocol/PadError.h"

using namespace quillvane;

namespace {

// Plays a trace through the recognisers at once, printing what a replay would send.
int printTrace(const QString& path) {
    try {
        TraceFile trace = TraceFile::read(path);
        for (const auto& step : ControllerReplay(std::move(trace.events), trace.settings).runAll())
            ReplayPlayer::print(step.output);
    } catch (const std::exception& error) {
        std::cerr << "quillvane-controller: " << error.what() << '\n';
        return 2;
    }
    return 0;
}

// The host to pair with: the link given, which joins the history file (and becomes its chosen
// host), or else the history's chosen host. Throws with a text for the user.
PairingProfile chooseProfile(const QStringList& positional, const QString& historyPath) {
    PairingHistory history;
    if (!historyPath.isEmpty()) {
        QFile file(historyPath);
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray bytes = file.readAll();
            history = PairingHistory::decodeStored(std::string_view(bytes.constData(), bytes.size())).history;
        } else if (file.exists()) {
            throw std::runtime_error(file.errorString().toStdString());
        }
    }
    const bool linkGiven = !positional.isEmpty() && positional.front().startsWith(QStringLiteral("quillvane:"));
    if (linkGiven)
        history.add(PairingProfile::parse(positional.front().toStdString()));
    if (!history.selected())
        throw std::runtime_error("a pairing link is required");
    if (linkGiven && !historyPath.isEmpty()) {
        QSaveFile file(historyPath);
        const std::string json = history.toJson();
        if (!file.open(QIODevice::WriteOnly) || file.write(json.data(), static_cast<qint64>(json.size())) < 0 ||
            !file.commit())
            throw std::runtime_error(file.errorString().toStdString());
    }
    return *history.selected();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillvane-controller"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLVANE_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Drives a Quillvane host like the phone does.\n"
        "Commands: move DX DY [DX DY ...] | scroll X Y [PHASE] | click [right] [continuing] |\n"
        "drag on|off [continuing] | key CODE [MODIFIERS] | text TEXT | cancel |\n"
        "heartbeat on|off | raw control|audio JSON | wait SECONDS | voice FILE | replay TRACE.json | quit"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption host(QStringLiteral("host"), QStringLiteral("Host address (skips DNS-SD)."),
                                  QStringLiteral("address"));
    const QCommandLineOption port(QStringLiteral("port"), QStringLiteral("Host port."),
                                  QStringLiteral("port"));
    const QCommandLineOption client(QStringLiteral("client"),
                                    QStringLiteral("Controller id (default: a new random one)."),
                                    QStringLiteral("uuid"));
    const QCommandLineOption linger(QStringLiteral("linger"),
                                    QStringLiteral("Seconds to wait for answers after the last command (default 0.5)."),
                                    QStringLiteral("seconds"), QStringLiteral("0.5"));
    const QCommandLineOption timeout(QStringLiteral("timeout"),
                                     QStringLiteral("Seconds to look for the host by DNS-SD (default 10)."),
                                     QStringLiteral("seconds"), QStringLiteral("10"));
    const QCommandLineOption chunkMs(QStringLiteral("chunk-ms"),
                                     QStringLiteral("Length of the voice command's audio packets (default 100, at most 200)."),
                                     QStringLiteral("ms"), QStringLiteral("100"));
    const QCommandLineOption history(QStringLiteral("history"),
                                     QStringLiteral("The controller's record of paired hosts (JSON); a link given joins it, without one its chosen host is used."),
                                     QStringLiteral("file"));
    const QCommandLineOption printTraceOption(QStringLiteral("print-trace"),
                                              QStringLiteral("Prints the messages a trace makes, without a host, and exits."),
                                              QStringLiteral("trace"));
    parser.addOptions({host, port, client, linger, timeout, chunkMs, history, printTraceOption});
    parser.addPositionalArgument(QStringLiteral("link"), QStringLiteral("The pairing link (quillvane://pair?...); optional with --history."));
    parser.addPositionalArgument(QStringLiteral("commands"), QStringLiteral("Commands; without them, lines are read from standard input."),
                                 QStringLiteral("[command...]"));
    parser.process(app);

    if (parser.isSet(printTraceOption))
        return printTrace(parser.value(printTraceOption));

    const QStringList positional = parser.positionalArguments();
    PairingProfile profile;
    try {
        profile = chooseProfile(positional, parser.value(history));
    } catch (const std::exception& error) {
        std::cerr << "quillvane-controller: " << error.what() << '\n';
        return 2;
    }
    Uuid clientID = randomUuid();
    if (parser.isSet(client)) {
        const auto parsed = Uuid::parse(parser.value(client).toStdString());
        if (!parsed) {
            std::cerr << "quillvane-controller: --client is not a UUID\n";
            return 2;
        }
        clientID = *parsed;
    }

    const int chunk = parser.value(chunkMs).toInt();
    if (chunk < 1 || chunk > 200) {
        std::cerr << "quillvane-controller: --chunk-ms must be 1 to 200\n";
        return 2;
    }
    Controller controller(profile, clientID);
    controller.setChunkMs(chunk);
    const double lingerSeconds = parser.value(linger).toDouble();
    const QStringList commands =
        positional.mid(!positional.isEmpty() && positional.front().startsWith(QStringLiteral("quillvane:")) ? 1 : 0);
    std::unique_ptr<QSocketNotifier> stdinNotifier;
    if (!commands.isEmpty()) {
        for (const auto& command : commands)
            controller.enqueue(command);
        controller.finishInput(lingerSeconds);
    } else {
        stdinNotifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(stdinNotifier.get(), &QSocketNotifier::activated, &app, [&] {
            // Read what is there and cut it into lines here: a buffered stream would keep lines
            // the notifier no longer announces.
            static QByteArray pending;
            char buffer[4096];
            const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (got > 0)
                pending.append(buffer, got);
            qsizetype newline;
            while ((newline = pending.indexOf('\n')) >= 0) {
                controller.enqueue(QString::fromUtf8(pending.left(newline)));
                pending.remove(0, newline + 1);
            }
            if (got <= 0) {
                stdinNotifier->setEnabled(false);
                if (!pending.isEmpty())
                    controller.enqueue(QString::fromUtf8(pending));
                controller.finishInput(lingerSeconds);
            }
        });
    }

    HostFinder finder(profile.id);
    if (parser.isSet(host) || parser.isSet(port)) {
        const QString address = parser.isSet(host) ? parser.value(host) : QStringLiteral("127.0.0.1");
        const auto hostPort = static_cast<quint16>(parser.value(port).toUInt());
        controller.connectTo(address, hostPort);
        controller.onLost = [&, address, hostPort](const QString&) {
            std::printf("session lost; reconnecting\n");
            std::fflush(stdout);
            QTimer::singleShot(500, &controller, [&controller, address, hostPort] {
                controller.connectTo(address, hostPort);
            });
        };
    } else {
        finder.onFound = [&](const QString& address, quint16 found) {
            std::printf("found host %s port %u\n", address.toUtf8().constData(), unsigned{found});
            std::fflush(stdout);
            controller.connectTo(address, found);
        };
        controller.onUnreachable = [&](const QString& reason) {
            std::printf("host unreachable (%s); looking again\n", reason.toUtf8().constData());
            std::fflush(stdout);
            finder.retry();
        };
        controller.onLost = [&](const QString&) {
            std::printf("session lost; looking for the host again\n");
            std::fflush(stdout);
            finder.resume(parser.value(timeout).toDouble());
        };
        finder.onTimeout = [&] {
            std::cerr << "quillvane-controller: no host with this pairing was found on the network\n";
            QCoreApplication::exit(1);
        };
        finder.start(parser.value(timeout).toDouble());
    }
    return app.exec();
}
