#pragma once

#include <QString>

namespace quillvane {

// The pairing link as a QR code drawn with Unicode half blocks, two modules per character cell,
// dark on light with the quiet zone, so a phone can scan it straight off a terminal. Empty when the
// text cannot be encoded.
QString terminalQrCode(const QString& text);

} // namespace quillvane
