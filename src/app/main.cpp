// The quillvane program: starts the host session and, in headless mode, reports its state on the
// terminal. SIGINT and SIGTERM stop it cleanly, closing every link and releasing every key.

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QSettings>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QStyleHints>
#include <QSysInfo>

#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "HostModel.h"
#include "InputBackends.h"
#include "InputController.h"
#include "TerminalQrCode.h"
#include "Uptime.h"
#include "keychain/KeychainStore.h"
#include "platform/pulse/AudioOutput.h"
#include "platform/pulse/MicrophoneCommand.h"
#include "platform/pulse/PulseServer.h"
#include "platform/pulse/VirtualMicrophone.h"

using namespace quillvane;

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(g_signalPipe[1], &byte, 1);
}

void printLine(const QString& line) {
    std::fputs(line.toLocal8Bit().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

// The desktop's settings (the double-click interval) come through a GUI application. Without a
// reachable display server Qt would abort, so unless the user chose a platform, fall back to the
// offscreen one: the host then runs headless with Qt's default settings.
void chooseQtPlatform() {
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return;
    qputenv("QT_QPA_PLATFORM", qEnvironmentVariableIsEmpty("DISPLAY") ? "offscreen" : "xcb;offscreen");
}

double desktopDoubleClickInterval() {
    return QGuiApplication::styleHints()->mouseDoubleClickInterval() / 1000.0;
}

} // namespace

int main(int argc, char** argv) {
    chooseQtPlatform();
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillvane"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLVANE_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("quillvane"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lets a paired phone act as this computer's trackpad, keyboard and microphone."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption headless(QStringLiteral("headless"),
                                      QStringLiteral("Run without a window; report on the terminal."));
    const QCommandLineOption showPairing(
        QStringLiteral("show-pairing"),
        QStringLiteral("Print the pairing link and its QR code. The link holds the pairing key."));
    const QCommandLineOption inputBackend(
        QStringLiteral("input-backend"),
        QStringLiteral("Post input through this backend only (e.g. x11) instead of the first that works."),
        QStringLiteral("name"));
    parser.addOption(headless);
    parser.addOption(showPairing);
    const QCommandLineOption installMicrophone(
        QStringLiteral("install-microphone"),
        QStringLiteral("Install or repair the virtual microphone, print its state and exit."));
    const QCommandLineOption microphoneStatus(
        QStringLiteral("microphone-status"),
        QStringLiteral("Print the virtual microphone's state and exit."));
    parser.addOption(inputBackend);
    parser.addOption(installMicrophone);
    parser.addOption(microphoneStatus);
    parser.process(app);
    if (parser.isSet(installMicrophone) || parser.isSet(microphoneStatus))
        return runMicrophoneCommand(parser.isSet(installMicrophone));

    if (!parser.isSet(headless))
        printLine(QStringLiteral("Quillvane has no window yet; running headless."));

    if (::pipe(g_signalPipe) != 0) {
        std::perror("pipe");
        return 1;
    }
    QSocketNotifier signalNotifier(g_signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &app, [&] {
        char byte;
        [[maybe_unused]] const auto got = ::read(g_signalPipe[0], &byte, 1);
        QCoreApplication::quit();
    });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);

    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("quillvane"),
                       QStringLiteral("quillvane"));
    KeychainStore keychain = KeychainStore::open();
    const auto backend = chooseInputBackend(parser.value(inputBackend).toStdString());
    InputController input(*backend, uptimeSeconds, desktopDoubleClickInterval);
    PulseServer soundServer;
    AudioOutput audio(soundServer);
    VirtualMicrophone microphone(
        soundServer, QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
    microphone.keepLoaded(true);

    HostModel host({.keychain = &keychain,
                    .input = &input,
                    .audio = &audio,
                    .microphone = &microphone,
                    .settings = &settings,
                    .uptime = uptimeSeconds,
                    .doubleClickInterval = desktopDoubleClickInterval,
                    .computerName = [] { return QSysInfo::machineHostName().toStdString(); }});
    QObject::connect(&host, &HostModel::statusChanged, &app,
                     [&] { printLine(QStringLiteral("Status: ") + host.status()); });
    QObject::connect(&host, &HostModel::issueChanged, &app,
                     [&] { printLine(QStringLiteral("Issue: ") + host.issue()); });
    QObject::connect(&host, &HostModel::portChanged, &app, [&] {
        if (host.port() != 0)
            printLine(QStringLiteral("Listening on port %1").arg(host.port()));
    });
    QObject::connect(&host, &HostModel::profileChanged, &app, [&] {
        if (!host.keyProtected())
            printLine(QStringLiteral("Warning: no Secret Service answered; the pairing key is kept "
                                     "in a file readable only by this user, not in a keyring."));
        if (!parser.isSet(showPairing))
            return;
        printLine(host.pairingLink());
        std::fputs(terminalQrCode(host.pairingLink()).toUtf8().constData(), stdout);
        std::fflush(stdout);
    });

    if (backend->canPost()) {
        printLine(QStringLiteral("Input: posting through %1").arg(QString::fromUtf8(backend->name())));
    } else {
        const QString reason = QString::fromStdString(backend->unavailableReason());
        printLine(QStringLiteral("Input: cannot post: ") + reason);
        host.reportIssue(reason);
    }
    host.start();
    if (!host.isStarted())
        return 1;
    const int status = app.exec();
    host.stop();
    printLine(QStringLiteral("Stopped."));
    return status;
}
