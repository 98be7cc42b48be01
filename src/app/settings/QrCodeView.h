#pragma once

#include <QImage>
#include <QLabel>
#include <QString>

namespace quillvane {

// The pairing link as a QR code, drawn pixel-exact: each module is a square of `scale` whole
// pixels, with the four-module light border scanners need, never smoothed.
class QrCodeView : public QLabel {
    Q_OBJECT
public:
    static constexpr int scale = 6;
    static constexpr int quietZone = 4;

    explicit QrCodeView(QWidget* parent = nullptr);

    // Shows the code of `link`; an empty link (or one too long for a QR code) shows nothing.
    void setLink(const QString& link);
    QString link() const { return m_link; }

    // The code of `text`'s UTF-8 bytes, one module = scale × scale pixels; null when it does not fit.
    static QImage image(const QString& text);

private:
    QString m_link;
};

} // namespace quillvane
