#pragma once

#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace quillvane {

class BrowserAccess;
class Card;
class QrCodeView;

// The connection page's card for a phone's browser as the controller: the browser code (a link
// with a one-time token, shown only when asked for and made fresh each time), the address it
// points at where the computer has several, and the paired browsers, each with its revoke button.
class BrowserCard : public QWidget {
    Q_OBJECT
public:
    // Fills `card`, which the page laid out.
    BrowserCard(BrowserAccess& browsers, Card* card);

    void retranslate();
    // Hides the code again (the window was closed).
    void hideCode();

private:
    void showCode();
    void updateAddresses();
    void updateBrowsers();

    BrowserAccess& m_browsers;
    Card* m_card;
    QLabel* m_addressLabel;
    QComboBox* m_address;
    QPushButton* m_show;
    QrCodeView* m_code;
    QLabel* m_link;
    QLabel* m_note;
    QLabel* m_listTitle;
    QVBoxLayout* m_list;
    QLabel* m_empty;
};

} // namespace quillvane
