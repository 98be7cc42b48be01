#include "HostProcess.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcessEnvironment>
#include <QRegularExpression>

#include "support/EventWait.h"
#include "protocol/PadError.h"

namespace quillvane::bench {

using namespace testing_support;
namespace {

constexpr std::chrono::milliseconds kStopLimit{5000};

} // namespace

HostProcess::HostProcess() {
    m_process.setProgram(QCoreApplication::applicationDirPath() + QStringLiteral("/quillvane"));
    m_process.setArguments({QStringLiteral("--headless"), QStringLiteral("--show-pairing")});
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("unix:path=") + m_dir.filePath(QStringLiteral("no-bus")));
    m_process.setProcessEnvironment(environment);
    m_process.setStandardErrorFile(m_dir.filePath(QStringLiteral("host.log")));
    // Status lines keep coming while the host runs; once the browser's port has been printed
    // (the last of what the program says at start), they are read and dropped so the pipe never
    // fills and stalls the host.
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &m_process, [this] {
        if (m_reading)
            m_output += m_process.readAllStandardOutput();
        else
            m_process.readAllStandardOutput();
        if (m_output.contains("\nBrowser port: "))
            m_reading = false;
    });
}

HostProcess::~HostProcess() {
    stop();
}

bool HostProcess::start(std::chrono::milliseconds limit) {
    if (!m_dir.isValid())
        return fail(QStringLiteral("no temporary directory: ") + m_dir.errorString());
    m_process.start();
    if (!m_process.waitForStarted())
        return fail(m_process.program() + QStringLiteral(" did not start: ") +
                    m_process.errorString());

    const QRegularExpression port(QStringLiteral("Listening on port (\\d+)"));
    const QRegularExpression link(QStringLiteral("^(quillvane://pair\\?\\S+)$"),
                                  QRegularExpression::MultilineOption);
    QRegularExpressionMatch portMatch;
    QRegularExpressionMatch linkMatch;
    const bool printed = waitUntil(
        [&] {
            const QString text = QString::fromUtf8(m_output);
            portMatch = port.match(text);
            linkMatch = link.match(text);
            return (portMatch.hasMatch() && linkMatch.hasMatch()) || !isRunning();
        },
        limit);
    if (!printed || !portMatch.hasMatch() || !linkMatch.hasMatch())
        return fail(QStringLiteral("the host did not print its port and pairing link"));
    try {
        m_profile = PairingProfile::parse(linkMatch.captured(1).toStdString());
    } catch (const PadError& error) {
        return fail(QStringLiteral("the host printed an unusable pairing link: ") +
                    QString::fromUtf8(error.what()));
    }
    m_port = portMatch.captured(1).toUShort();
    return true;
}

QString HostProcess::browserLink(std::chrono::milliseconds limit) {
    const QRegularExpression line(QStringLiteral("^Browser link: (\\S+)$"),
                                  QRegularExpression::MultilineOption);
    QRegularExpressionMatch match;
    waitUntil(
        [&] {
            match = line.match(QString::fromUtf8(m_output));
            return match.hasMatch() || !m_reading || !isRunning();
        },
        limit);
    return match.hasMatch() ? match.captured(1) : QString();
}

void HostProcess::stop() {
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!waitUntil([this] { return !isRunning(); }, kStopLimit)) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

bool HostProcess::fail(const QString& reason) {
    m_error = reason;
    stop();
    const QString tail = logTail();
    if (!tail.isEmpty())
        m_error += QStringLiteral("\nhost log:\n") + tail;
    return false;
}

QString HostProcess::logTail() const {
    QFile log(m_dir.filePath(QStringLiteral("host.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    const QByteArray text = log.readAll();
    return QString::fromUtf8(text.right(2000));
}

} // namespace quillvane::bench
