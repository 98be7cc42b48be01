// The quillvane program. With a display it is a desktop program: a tray item and a settings
// window over the host session. With --headless, or when no display can be reached, it runs the
// host alone and reports on the terminal. In both modes the port and, when asked for, the pairing
// link go to standard output, and SIGINT and SIGTERM stop it cleanly, closing every link and
// releasing every key.

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <memory>
#include <unistd.h>

#include "AppShell.h"
#include "AppStrings.h"
#include "HostRuntime.h"
#include "QtPlatformList.h"
#include "TerminalQrCode.h"
#include "platform/pulse/MicrophoneCommand.h"

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

// Qt aborts when the display it was told to use cannot be reached, so unless the user chose a
// platform, every display the session names is tried and the list ends with the offscreen one:
// without a display the program then runs headless (the desktop's settings, such as the
// double-click interval, are Qt's defaults there).
void chooseQtPlatform() {
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return;
    const std::string platforms = qtPlatformList(qgetenv("DISPLAY").toStdString(),
                                                 qgetenv("WAYLAND_DISPLAY").toStdString(),
                                                 qgetenv("XDG_SESSION_TYPE").toStdString());
    qputenv("QT_QPA_PLATFORM", QByteArray::fromStdString(platforms));
}

// What the host does, as lines on the terminal: the log of a headless run, and what scripts and
// tests read in either mode.
// The host's texts are in the interface language, as in the window.
void reportOnTerminal(HostModel& host, const InputBackend& backend, const AppStrings& strings,
                      bool showPairing) {
    QObject::connect(&host, &HostModel::statusChanged, &host, [&] {
        printLine(QStringLiteral("Status: ") + strings.issue(host.status()));
    });
    QObject::connect(&host, &HostModel::issueChanged, &host, [&] {
        printLine(host.hasIssue() ? QStringLiteral("Issue: ") + strings.issue(host.issue())
                                  : QStringLiteral("Issue cleared"));
    });
    QObject::connect(&host, &HostModel::portChanged, &host, [&] {
        if (host.port() != 0)
            printLine(QStringLiteral("Listening on port %1").arg(host.port()));
    });
    QObject::connect(&host, &HostModel::profileChanged, &host, [&host, showPairing] {
        if (!host.keyProtected())
            printLine(QStringLiteral("Warning: no Secret Service answered; the pairing key is kept "
                                     "in a file readable only by this user, not in a keyring."));
        if (!showPairing)
            return;
        printLine(host.pairingLink());
        std::fputs(terminalQrCode(host.pairingLink()).toUtf8().constData(), stdout);
        std::fflush(stdout);
    });
    if (backend.canPost())
        printLine(QStringLiteral("Input: posting through %1").arg(QString::fromUtf8(backend.name())));
    else
        printLine(QStringLiteral("Input: cannot post: ") +
                  QString::fromStdString(backend.unavailableReason()));
}

} // namespace

int main(int argc, char** argv) {
    chooseQtPlatform();
    QApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("quillvane"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUILLVANE_VERSION));
    QCoreApplication::setOrganizationName(QStringLiteral("quillvane"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Quillvane"));
    QGuiApplication::setDesktopFileName(QStringLiteral("app.quillvane.Quillvane"));
    // The icon the package installs in the hicolor theme; X11 window managers show it for the
    // window (_NET_WM_ICON). Run from the build folder, where no theme holds it, the window has none.
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("app.quillvane.Quillvane")));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Lets a paired phone act as this computer's trackpad, keyboard and microphone."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption headless(
        QStringLiteral("headless"),
        QStringLiteral("Run without tray item or window; report on the terminal."));
    const QCommandLineOption showPairing(
        QStringLiteral("show-pairing"),
        QStringLiteral("Print the pairing link and its QR code. The link holds the pairing key."));
    const QCommandLineOption inputBackend(
        QStringLiteral("input-backend"),
        QStringLiteral("Post input through this backend only (e.g. x11) instead of the first that works."),
        QStringLiteral("name"));
    const QCommandLineOption installMicrophone(
        QStringLiteral("install-microphone"),
        QStringLiteral("Install or repair the virtual microphone, print its state and exit."));
    const QCommandLineOption microphoneStatus(
        QStringLiteral("microphone-status"),
        QStringLiteral("Print the virtual microphone's state and exit."));
    parser.addOption(headless);
    parser.addOption(showPairing);
    parser.addOption(inputBackend);
    parser.addOption(installMicrophone);
    parser.addOption(microphoneStatus);
    parser.process(app);
    if (parser.isSet(installMicrophone) || parser.isSet(microphoneStatus))
        return runMicrophoneCommand(parser.isSet(installMicrophone));

    const bool desktop =
        !parser.isSet(headless) && QGuiApplication::platformName() != QLatin1String("offscreen");
    if (desktop)
        printLine(QStringLiteral("Window system: ") + QGuiApplication::platformName());
    else if (!parser.isSet(headless))
        printLine(QStringLiteral("No display reachable; running headless."));

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

    const std::string backendName = parser.value(inputBackend).toStdString();
    std::unique_ptr<AppShell> shell;
    std::unique_ptr<HostRuntime> runtime;
    std::unique_ptr<AppStrings> runtimeStrings;
    if (desktop) {
        shell = std::make_unique<AppShell>(backendName);
    } else {
        runtime = std::make_unique<HostRuntime>(backendName);
        runtimeStrings = std::make_unique<AppStrings>(runtime->settings());
    }
    HostRuntime& running = shell ? shell->runtime() : *runtime;
    HostModel& host = running.host();
    reportOnTerminal(host, running.backend(), shell ? shell->strings() : *runtimeStrings,
                     parser.isSet(showPairing));

    // A host that could not start (a keyring that refused the key) shows that as its issue; the
    // program stays, so that the user can fix it and try again from the window.
    if (shell)
        shell->start();
    else
        host.start();
    running.startBrowsers();
    if (parser.isSet(showPairing) && running.browsers().port() != 0) {
        // A phone's browser opens this once; the token in it is good for five minutes.
        printLine(QStringLiteral("Browser link: ") + running.browsers().pairingLink());
        printLine(QStringLiteral("Browser port: %1").arg(running.browsers().port()));
    }
    const int status = app.exec();
    host.stop();
    printLine(QStringLiteral("Stopped."));
    return status;
}
