#pragma once

#include <QMenu>
#include <QSystemTrayIcon>

#include <functional>

namespace quillvane {

class HostModel;

// The tray item and its menu: the host's status, "断开手机", "打开 Quillvane" and
// "退出 Quillvane". The icon turns into a microphone while the phone's voice is relayed. The
// menu is the tray item's context menu; where the tray speaks StatusNotifierItem, Qt exports it
// over dbusmenu and every change of text or state here reaches the panel.
class TrayMenu : public QMenu {
    Q_OBJECT

public:
    // `translateHostText` turns a text the host stores untranslated (its status) into the
    // language on screen.
    TrayMenu(HostModel& host, std::function<QString(const QString&)> translateHostText,
             QWidget* parent = nullptr);

    // Puts the item into the tray; call once a tray is known to be there.
    void showInTray();
    // Says that a browser paired just now: a pairing the user did not make shows this way.
    void announceBrowser(const QString& name);

Q_SIGNALS:
    void openRequested();
    void quitRequested();

protected:
    void changeEvent(QEvent* event) override;

private:
    void retranslate();
    void showHostState();

    HostModel& m_host;
    std::function<QString(const QString&)> m_translateHostText;
    QIcon m_idleIcon;
    QIcon m_speakingIcon;
    QSystemTrayIcon m_icon;
    QAction* m_status;
    QAction* m_disconnect;
    QAction* m_open;
    QAction* m_quit;
};

} // namespace quillvane
