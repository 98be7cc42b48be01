#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

namespace quillvane {

// The pairing link as a QR code, drawn pixel-exact at the screen's device pixel ratio: every module
// is a square of whole device pixels, with the four-module light border scanners need, never
// smoothed, so the code has exactly two colours at any scale. Up to `scale` logical pixels a
// module; a narrow window gets a smaller code, by whole device pixels per module, down to
// `minimumScale`.
class QrCodeView : public QWidget {
    Q_OBJECT
public:
    static constexpr int scale = 6;
    static constexpr int minimumScale = 3;
    static constexpr int quietZone = 4;

    explicit QrCodeView(QWidget* parent = nullptr);

    // Shows the code of `link`; an empty link (or one too long for a QR code) shows nothing.
    void setLink(const QString& link);
    QString link() const { return m_link; }
    // The code's side stays within `side` logical pixels, as long as that leaves it
    // `minimumScale` pixels a module.
    void setMaximumSide(int side);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    // Device pixels per module for a code at most `width` logical pixels wide.
    int devicePixelsPerModule(int width) const;
    // The logical side of the code drawn with `devicePixels` per module.
    int side(int devicePixels) const;

    QString m_link;
    int m_maximumSide = QWIDGETSIZE_MAX;
    QImage m_modules; // one pixel per module, quiet zone included
};

} // namespace quillvane
