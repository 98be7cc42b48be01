#include "Card.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace quillvane {

Card::Card(QWidget* parent)
    : QFrame(parent), m_title(new QLabel(this)), m_infoRow(new QWidget(this)),
      m_info(new QLabel(m_infoRow)), m_content(new QVBoxLayout) {
    setObjectName(QStringLiteral("card"));
    setFrameShape(QFrame::StyledPanel);
    m_title->setObjectName(QStringLiteral("cardTitle"));
    m_title->setWordWrap(true);

    auto* sign = new QLabel(QStringLiteral("\u24D8"), m_infoRow); // circled i
    sign->setObjectName(QStringLiteral("infoSign"));
    m_info->setObjectName(QStringLiteral("secondary"));
    m_info->setWordWrap(true);
    auto* infoLayout = new QHBoxLayout(m_infoRow);
    infoLayout->setContentsMargins(0, 0, 0, 0);
    infoLayout->setSpacing(6);
    infoLayout->addWidget(sign, 0, Qt::AlignTop);
    infoLayout->addWidget(m_info, 1);
    m_infoRow->hide();

    m_content->setSpacing(10);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 16);
    layout->setSpacing(8);
    layout->addWidget(m_title);
    layout->addWidget(m_infoRow);
    layout->addLayout(m_content);
}

void Card::setTitle(const QString& title) {
    m_title->setText(title);
    m_title->setVisible(!title.isEmpty());
}

void Card::setInfo(const QString& info) {
    m_info->setText(info);
    m_infoRow->setVisible(!info.isEmpty());
}

} // namespace quillvane
