#include "BrowserName.h"

#include <utility>

namespace quillvane {

QString browserName(const QString& userAgent) {
    // Order matters: Edge and Samsung Internet also say Chrome, Chrome also says Safari, and
    // Android also says Linux.
    static const std::pair<const char*, const char*> browsers[] = {
        {"Edg", "Edge"},        {"SamsungBrowser", "Samsung Internet"}, {"Firefox", "Firefox"},
        {"FxiOS", "Firefox"},   {"CriOS", "Chrome"},                    {"Chrome", "Chrome"},
        {"Safari", "Safari"}};
    static const std::pair<const char*, const char*> systems[] = {
        {"Android", "Android"}, {"iPhone", "iPhone"},   {"iPad", "iPad"}, {"CrOS", "ChromeOS"},
        {"Windows", "Windows"}, {"Macintosh", "macOS"}, {"Linux", "Linux"}};
    QString browser;
    QString system;
    for (const auto& [marker, name] : browsers)
        if (browser.isEmpty() && userAgent.contains(QLatin1String(marker)))
            browser = QString::fromLatin1(name);
    for (const auto& [marker, name] : systems)
        if (system.isEmpty() && userAgent.contains(QLatin1String(marker)))
            system = QString::fromLatin1(name);
    if (browser.isEmpty())
        return system.isEmpty() ? QStringLiteral("浏览器") : system;
    return system.isEmpty() ? browser : browser + QStringLiteral(" (") + system + QLatin1Char(')');
}

} // namespace quillvane
