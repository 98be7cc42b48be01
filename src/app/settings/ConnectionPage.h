#pragma once

#include "SettingsPage.h"

class QLabel;
class QMessageBox;
class QPushButton;

namespace quillvane {

class BrowserAccess;
class BrowserCard;
class Card;
class HostModel;
class InputBackend;
class QrCodeView;

// Pairing and input: the connection status, the pairing code (hidden until asked for), copying
// the link, revoking the pairing, and whether input can be posted on this desktop.
class ConnectionPage : public SettingsPage {
    Q_OBJECT
public:
    ConnectionPage(HostModel& host, HostText hostText, QWidget* parent = nullptr);

    void retranslate() override;
    // The backend that posts input; null until the program has chosen one.
    void setInputBackend(const InputBackend* backend);
    // Adds the card for a phone's browser as the controller.
    void setBrowserAccess(BrowserAccess* browsers);
    // Hides the code again: it holds the key, so it shows only while asked for.
    void hidePairing();
    // Reads again whether the backend can post.
    void checkPermission();

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showPairing();
    void confirmRevoke();
    void updateStatus();
    void updatePairing();
    // Fits the code into the page's visible height, once the layout has settled.
    void fitCodeLater();

    HostModel& m_host;
    const InputBackend* m_backend = nullptr;
    bool m_showing = false;
    bool m_fitPending = false;

    Card* m_connectionCard;
    QLabel* m_status;
    QLabel* m_instruction;
    QPushButton* m_show;
    QrCodeView* m_code;
    QLabel* m_warning;
    QPushButton* m_copy;
    QPushButton* m_revoke;
    QLabel* m_keyNotice;
    QLabel* m_issue;
    QMessageBox* m_confirmation = nullptr;

    Card* m_browserSlot;
    BrowserCard* m_browserCard = nullptr;

    Card* m_permissionCard;
    QLabel* m_permission;
    QPushButton* m_check;
};

} // namespace quillvane
