#include "TrayHint.h"

#include <QEvent>

namespace quillvane {

namespace {

// XDG_CURRENT_DESKTOP is a colon-separated list, most specific first ("ubuntu:GNOME").
bool onGnome() {
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP")
        .split(QLatin1Char(':'))
        .contains(QLatin1String("GNOME"), Qt::CaseInsensitive);
}

} // namespace

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
    // GNOME shows tray items only with its AppIndicator extension; other desktops have a tray
    // that the panel may simply not show yet.
    const QString remedy = onGnome()
        ? tr("GNOME 需要安装 AppIndicator 扩展才能显示托盘图标。")
        : tr("在面板中加入系统托盘后，Quillvane 会留在托盘里。");
    setText(tr("这个桌面没有系统托盘，关闭此窗口会退出 Quillvane。") + remedy);
    setAccessibleName(text());
}

} // namespace quillvane
