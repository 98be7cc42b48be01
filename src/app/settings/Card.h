#pragma once

#include <QFrame>
#include <QString>

class QLabel;
class QVBoxLayout;

namespace quillvane {

// One framed group of a settings page: a title, an optional explanatory line marked with an
// information sign, and the card's own rows below. Texts are set by the page's retranslate().
class Card : public QFrame {
    Q_OBJECT
public:
    explicit Card(QWidget* parent = nullptr);

    // An empty title hides it.
    void setTitle(const QString& title);
    // An empty text hides the line.
    void setInfo(const QString& info);
    QVBoxLayout* content() const { return m_content; }

private:
    QLabel* m_title;
    QWidget* m_infoRow;
    QLabel* m_info;
    QVBoxLayout* m_content;
};

} // namespace quillvane
