#include "QrCodeView.h"

#include <QPixmap>

#include <memory>

#include <qrencode.h>

namespace quillvane {

QrCodeView::QrCodeView(QWidget* parent) : QLabel(parent) {
    setAlignment(Qt::AlignCenter);
    // The label must never stretch the code: a scaled QR image blurs and may no longer scan.
    setScaledContents(false);
}

void QrCodeView::setLink(const QString& link) {
    m_link = link;
    const QImage code = image(link);
    setPixmap(code.isNull() ? QPixmap() : QPixmap::fromImage(code));
    setFixedSize(code.isNull() ? QSize(0, 0) : code.size());
}

QImage QrCodeView::image(const QString& text) {
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
    QImage image(modules * scale, modules * scale, QImage::Format_Grayscale8);
    image.fill(255);
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            if ((code->data[y * code->width + x] & 1) == 0)
                continue;
            for (int row = 0; row < scale; ++row) {
                uchar* line = image.scanLine((y + quietZone) * scale + row);
                std::fill_n(line + (x + quietZone) * scale, scale, uchar(0));
            }
        }
    }
    return image;
}

} // namespace quillvane
