#pragma once

#include <QString>

namespace quillvane {

// A short name for a browser from its User-Agent, for the list of paired browsers:
// "Chrome (Android)", "Safari (iPhone)". An unknown agent is "浏览器".
QString browserName(const QString& userAgent);

} // namespace quillvane
