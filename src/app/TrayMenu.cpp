#include "TrayMenu.h"

#include <QEvent>
#include <QIcon>

#include "HostModel.h"

namespace quillvane {

namespace {

QIcon trayIcon(const QString& name) {
    QIcon icon;
    for (const int size : {22, 32, 64})
        icon.addFile(QStringLiteral(":/tray/%1-%2.png").arg(name).arg(size), QSize(size, size));
    return icon;
}

} // namespace

TrayMenu::TrayMenu(HostModel& host, std::function<QString(const QString&)> translateHostText,
                   QWidget* parent)
    : QMenu(parent), m_host(host), m_translateHostText(std::move(translateHostText)),
      m_idleIcon(trayIcon(QStringLiteral("idle"))), m_speakingIcon(trayIcon(QStringLiteral("speaking"))),
      m_status(addAction(QString())), m_disconnect(addAction(QString())) {
    // The status is a line to read, not a command.
    m_status->setEnabled(false);
    addSeparator();
    m_open = addAction(QString());
    m_quit = addAction(QString());
    connect(m_disconnect, &QAction::triggered, &m_host, &HostModel::disconnect);
    connect(m_open, &QAction::triggered, this, &TrayMenu::openRequested);
    connect(m_quit, &QAction::triggered, this, &TrayMenu::quitRequested);
    connect(&m_host, &HostModel::statusChanged, this, &TrayMenu::showHostState);
    connect(&m_host, &HostModel::connectedChanged, this, &TrayMenu::showHostState);
    connect(&m_host, &HostModel::speakingChanged, this, &TrayMenu::showHostState);
    m_icon.setContextMenu(this);
    // A left click (StatusNotifierItem's Activate) opens the window. The menu is the tray's: a
    // StatusNotifierItem panel shows it from dbusmenu, an XEmbed tray gets it from Qt at the icon
    // on a right click. Popping it up here would make it a window of its own, which a tiling
    // compositor lays out like any other.
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            Q_EMIT openRequested();
    });
    retranslate();
}

void TrayMenu::announceBrowser(const QString& name) {
    m_icon.showMessage(tr("新浏览器已配对"), tr("%1 现在可以控制这台电脑。可在设置中撤销。").arg(name),
                       QSystemTrayIcon::Information);
}

void TrayMenu::showInTray() {
    m_icon.show();
}

void TrayMenu::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QMenu::changeEvent(event);
}

void TrayMenu::retranslate() {
    m_disconnect->setText(tr("断开手机"));
    m_open->setText(tr("打开 Quillvane"));
    m_quit->setText(tr("退出 Quillvane"));
    showHostState();
}

void TrayMenu::showHostState() {
    m_status->setText(m_translateHostText(m_host.status()));
    m_disconnect->setEnabled(m_host.connected());
    const bool speaking = m_host.speaking();
    const QString label = speaking ? tr("Quillvane，正在传音") : QStringLiteral("Quillvane");
    m_icon.setIcon(speaking ? m_speakingIcon : m_idleIcon);
    m_icon.setToolTip(label);
    setAccessibleName(label);
}

} // namespace quillvane
