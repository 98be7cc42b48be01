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

protected:
    void changeEvent(QEvent* event) override;

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
