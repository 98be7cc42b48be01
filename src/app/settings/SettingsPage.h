#pragma once

#include <QScrollArea>
#include <QString>

#include <functional>

class QAbstractButton;
class QLabel;
class QVBoxLayout;

namespace quillvane {

class Card;

// One page of the settings window: a title, a subtitle and a column of cards that scrolls when the
// window is made smaller than the page. Pages write their texts in retranslate(), called once
// built and again on every language change.
class SettingsPage : public QScrollArea {
    Q_OBJECT
public:
    // Translates a text the host keeps untranslated (its status, its issues) for display.
    using HostText = std::function<QString(const QString&)>;

    explicit SettingsPage(HostText hostText, QWidget* parent = nullptr);

    virtual void retranslate() = 0;
    QString title() const;

    // The page scrolls only vertically, so it is never narrower than its widest card: a longer
    // text after a language switch widens the window instead of being cut off at its edge.
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    // The page's title, as the sidebar lists it, in the language on screen.
    void titleChanged(const QString& title);

protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    void setHeading(const QString& title, const QString& subtitle);
    Card* addCard();
    QString hostText(const QString& text) const { return m_hostText(text); }
    // Sets what a person reads on a control and what assistive technology announces for it.
    static void setControlText(QAbstractButton* control, const QString& text);

private:
    HostText m_hostText;
    QLabel* m_title;
    QLabel* m_subtitle;
    QVBoxLayout* m_cards;
};

} // namespace quillvane
