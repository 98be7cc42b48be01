#include "TrayHint.h"

#include <QEvent>

namespace quillvane {

TrayHint::TrayHint(QWidget* parent) : QLabel(parent) {
    setObjectName(QStringLiteral("trayHint"));
    setWordWrap(true);
    setMargin(10);
    setStyleSheet(QStringLiteral(
        "QLabel#trayHint { background: #fff4d6; color: #5c4100; border-bottom: 1px solid #e8d49c; }"));
    retranslate();
}

void TrayHint::changeEvent(QEvent* event) {
    if (event->type() == QEvent::LanguageChange)
        retranslate();
    QLabel::changeEvent(event);
}

void TrayHint::retranslate() {
    setText(tr("这个桌面没有系统托盘，关闭此窗口会退出 Quillvane。GNOME 需要安装 AppIndicator 扩展才能显示托盘图标。"));
    setAccessibleName(text());
}

} // namespace quillvane
