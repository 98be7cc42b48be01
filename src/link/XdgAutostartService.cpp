#include "XdgAutostartService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QStandardPaths>

#include "protocol/PadError.h"

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcLoginItem, "app.quillvane.LoginItem")

// Characters that make an Exec argument need quotes (freedesktop.org desktop entries, "The Exec key").
const QString kReserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");

// Whether an entry's [Desktop Entry] group switches it off.
bool switchedOff(const QByteArray& content) {
    bool inMainGroup = false;
    for (const QByteArray& rawLine : content.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('[')) {
            inMainGroup = line == "[Desktop Entry]";
            continue;
        }
        if (!inMainGroup)
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals < 0)
            continue;
        const QByteArray key = line.left(equals).trimmed();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if ((key == "Hidden" && value == "true") ||
            (key == "X-GNOME-Autostart-enabled" && value == "false"))
            return true;
    }
    return false;
}

} // namespace

XdgAutostartService::XdgAutostartService(QString entryPath, QString executable)
    : m_entryPath(entryPath.isEmpty() ? defaultEntryPath() : std::move(entryPath)),
      m_executable(executable.isEmpty() ? QCoreApplication::applicationFilePath()
                                        : std::move(executable)) {}

QString XdgAutostartService::defaultEntryPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart/quillvane.desktop");
}

QString XdgAutostartService::execValue(const QString& executable) {
    QString argument = executable;
    // A percent sign starts a field code everywhere in Exec.
    argument.replace(QLatin1Char('%'), QStringLiteral("%%"));
    const bool needsQuotes =
        std::any_of(argument.begin(), argument.end(), [](QChar c) { return kReserved.contains(c); });
    if (needsQuotes) {
        QString quoted = QStringLiteral("\"");
        for (const QChar c : argument) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') ||
                c == QLatin1Char('\\'))
                quoted += QLatin1Char('\\');
            quoted += c;
        }
        argument = quoted + QLatin1Char('"');
    }
    // The key file format then escapes every backslash of the value once more.
    argument.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return argument;
}

LoginItemStatus XdgAutostartService::status() const {
    QFile entry(m_entryPath);
    if (!entry.open(QIODevice::ReadOnly))
        return LoginItemStatus::notRegistered;
    // An autostart entry is a few hundred bytes; more than this is not one worth reading whole.
    return switchedOff(entry.read(64 * 1024)) ? LoginItemStatus::notRegistered
                                                : LoginItemStatus::enabled;
}

void XdgAutostartService::registerItem() {
    const QString content = QStringLiteral("[Desktop Entry]\n"
                                           "Type=Application\n"
                                           "Name=Quillvane\n"
                                           "Comment=Use a paired phone as trackpad, keyboard and "
                                           "microphone\n"
                                           "Exec=%1\n"
                                           "Icon=app.quillvane.Quillvane\n"
                                           "Terminal=false\n"
                                           "X-GNOME-Autostart-enabled=true\n")
                                .arg(execValue(m_executable));
    QSaveFile entry(m_entryPath);
    const bool written = QDir().mkpath(QFileInfo(m_entryPath).absolutePath()) &&
                         entry.open(QIODevice::WriteOnly) && entry.write(content.toUtf8()) >= 0 &&
                         entry.commit();
    if (!written) {
        qCWarning(lcLoginItem).noquote()
            << QStringLiteral("Cannot write %1: %2").arg(m_entryPath, entry.errorString());
        throw PadError::invalid("无法开启开机自动启动：自动启动文件无法写入");
    }
    qCInfo(lcLoginItem).noquote() << QStringLiteral("Wrote %1").arg(m_entryPath);
}

void XdgAutostartService::unregisterItem() {
    QFile entry(m_entryPath);
    if (entry.exists() && !entry.remove()) {
        qCWarning(lcLoginItem).noquote()
            << QStringLiteral("Cannot remove %1: %2").arg(m_entryPath, entry.errorString());
        throw PadError::invalid("无法关闭开机自动启动：自动启动文件无法删除");
    }
    qCInfo(lcLoginItem).noquote() << QStringLiteral("Removed %1").arg(m_entryPath);
}

} // namespace quillvane
