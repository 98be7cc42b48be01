#include "QrCodeView.h"

#include <QEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <memory>

#include <qrencode.h>

namespace quillvane {

namespace {

// The code of `text`'s UTF-8 bytes, one pixel per module, quiet zone included; null when it does
// not fit a QR code.
QImage modulesOf(const QString& text, int quietZone) {
    if (text.isEmpty())
        return {};
    const QByteArray utf8 = text.toUtf8();
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeData(static_cast<int>(utf8.size()),
                          reinterpret_cast<const unsigned char*>(utf8.constData()), 0, QR_ECLEVEL_M),
        &QRcode_free);
    if (!code)
        return {};
    const int modules = code->width + 2 * quietZone;
    QImage image(modules, modules, QImage::Format_Grayscale8);
    image.fill(255);
    for (int y = 0; y < code->width; ++y) {
        uchar* line = image.scanLine(y + quietZone);
        for (int x = 0; x < code->width; ++x) {
            if (code->data[y * code->width + x] & 1)
                line[x + quietZone] = 0;
        }
    }
    return image;
}

} // namespace

QrCodeView::QrCodeView(QWidget* parent) : QWidget(parent) {
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void QrCodeView::setLink(const QString& link) {
    m_link = link;
    m_modules = modulesOf(link, quietZone);
    updateGeometry();
    update();
}

void QrCodeView::setMaximumSide(int side) {
    if (side == m_maximumSide)
        return;
    m_maximumSide = side;
    updateGeometry();
}

int QrCodeView::devicePixelsPerModule(int width) const {
    if (m_modules.isNull())
        return 0;
    const qreal ratio = devicePixelRatioF();
    const int largest = static_cast<int>(std::floor(scale * ratio));
    const int smallest = static_cast<int>(std::ceil(minimumScale * ratio));
    const int fitting =
        static_cast<int>(std::floor(std::min(width, m_maximumSide) * ratio / m_modules.width()));
    return std::clamp(fitting, smallest, largest);
}

int QrCodeView::side(int devicePixels) const {
    return static_cast<int>(std::ceil(m_modules.width() * devicePixels / devicePixelRatioF()));
}

QSize QrCodeView::sizeHint() const {
    const int full = m_modules.isNull() ? 0 : side(devicePixelsPerModule(m_modules.width() * scale));
    return {full, full};
}

QSize QrCodeView::minimumSizeHint() const {
    const int least = m_modules.isNull() ? 0 : side(devicePixelsPerModule(0));
    return {least, least};
}

bool QrCodeView::hasHeightForWidth() const {
    return true;
}

int QrCodeView::heightForWidth(int width) const {
    return m_modules.isNull() ? 0 : side(devicePixelsPerModule(width));
}

bool QrCodeView::event(QEvent* event) {
    // Moved to a screen of another scale: the sizes in logical pixels change with it.
    if (event->type() == QEvent::ScreenChangeInternal)
        updateGeometry();
    return QWidget::event(event);
}

void QrCodeView::paintEvent(QPaintEvent*) {
    if (m_modules.isNull())
        return;
    const qreal ratio = devicePixelRatioF();
    const int pixels = devicePixelsPerModule(std::min(width(), height()));
    QImage code = m_modules.scaled(m_modules.size() * pixels);
    code.setDevicePixelRatio(ratio);
    // Centred, at a whole device pixel of the window: a fractional position would be resampled.
    const QPointF origin = mapTo(window(), QPointF(0, 0)) * ratio;
    const auto aligned = [&](qreal at, int room) {
        return (std::round(at + (room * ratio - code.width()) / 2) - at) / ratio;
    };
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter.drawImage(QPointF(aligned(origin.x(), width()), aligned(origin.y(), height())), code);
}

} // namespace quillvane
