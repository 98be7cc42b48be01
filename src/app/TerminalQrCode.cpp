#include "TerminalQrCode.h"

#include <qrencode.h>

#include <memory>

namespace quillvane {

QString terminalQrCode(const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString(utf8.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1), &QRcode_free);
    if (!code)
        return {};

    const int width = code->width;
    constexpr int quiet = 2;
    auto dark = [&](int x, int y) {
        if (x < 0 || y < 0 || x >= width || y >= width)
            return false;
        return (code->data[y * width + x] & 1) != 0;
    };

    // Light modules are drawn as full blocks and dark ones as blanks, so the code reads correctly on
    // the usual dark terminal background.
    QString out;
    for (int y = -quiet; y < width + quiet; y += 2) {
        for (int x = -quiet; x < width + quiet; ++x) {
            const bool top = !dark(x, y);
            const bool bottom = y + 1 < width + quiet && !dark(x, y + 1);
            if (top && bottom)
                out += QChar(0x2588);
            else if (top)
                out += QChar(0x2580);
            else if (bottom)
                out += QChar(0x2584);
            else
                out += QLatin1Char(' ');
        }
        out += QLatin1Char('\n');
    }
    return out;
}

} // namespace quillvane
