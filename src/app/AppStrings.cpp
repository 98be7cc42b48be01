#include "AppStrings.h"

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QLoggingCategory>

#include <string>
#include <vector>

namespace quillvane {
namespace {

Q_LOGGING_CATEGORY(lcStrings, "app.quillvane.AppStrings")

const QString kLanguageKey = QStringLiteral("appLanguage");
constexpr QChar kOpenBracket = u'\uFF08';  // （
constexpr QChar kCloseBracket = u'\uFF09'; // ）

std::vector<std::string> toStdList(const QStringList& list) {
    std::vector<std::string> out;
    out.reserve(static_cast<std::size_t>(list.size()));
    for (const QString& entry : list)
        out.push_back(entry.toStdString());
    return out;
}

QString catalogueName(AppLanguage resolvedLanguage) {
    return resolvedLanguage == AppLanguage::english ? QStringLiteral("quillvane_en")
                                                    : QStringLiteral("quillvane_zh_CN");
}

} // namespace

AppStrings::AppStrings(QSettings& settings, QString translationsDirectory,
                       LanguageList desktopLanguages, QObject* parent)
    : QObject(parent), m_settings(settings),
      m_directory(translationsDirectory.isEmpty() ? defaultTranslationsDirectory()
                                                  : std::move(translationsDirectory)),
      m_desktopLanguages(desktopLanguages ? std::move(desktopLanguages)
                                          : LanguageList([] { return QLocale::system().uiLanguages(); })),
      m_language(appLanguageFromStored(
          settings.value(kLanguageKey, QStringLiteral("system")).toString().toStdString())),
      m_localization(localizationFor(AppLanguage::simplifiedChinese)) {
    apply();
    QCoreApplication::instance()->installEventFilter(this);
}

AppStrings::~AppStrings() {
    QCoreApplication::removeTranslator(&m_translator);
}

QString AppStrings::defaultTranslationsDirectory() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() +
                           QStringLiteral("/../share/quillvane/translations"));
}

void AppStrings::setLanguage(AppLanguage language) {
    const std::string_view raw = rawValue(language);
    m_settings.setValue(kLanguageKey,
                        QString::fromUtf8(raw.data(), static_cast<qsizetype>(raw.size())));
    const bool storedChanged = language != m_language;
    m_language = language;
    if (!apply() && storedChanged)
        Q_EMIT changed();
}

QLocale AppStrings::locale() const {
    return resolvedLanguage() == AppLanguage::english ? QLocale(QLocale::English, QLocale::UnitedStates)
                                                      : QLocale(QLocale::Chinese, QLocale::China);
}

QString AppStrings::text(const QString& chineseKey) const {
    return QString::fromStdString(m_localization(chineseKey.toStdString()));
}

QString AppStrings::issue(const QString& hostText) const {
    const QString translated = issueInBrackets(hostText);
    if (resolvedLanguage() == AppLanguage::simplifiedChinese)
        return translated;
    // Full-width brackets belong to Chinese text; English wraps a detail in ASCII ones.
    QString ascii;
    ascii.reserve(translated.size() + 4);
    for (const QChar c : translated) {
        if (c == kOpenBracket)
            ascii += ascii.isEmpty() || ascii.back().isSpace() ? QStringLiteral("(") : QStringLiteral(" (");
        else
            ascii += c == kCloseBracket ? QChar(u')') : c;
    }
    return ascii;
}

QString AppStrings::issueInBrackets(const QString& hostText) const {
    const QString whole = QString::fromStdString(m_localization.issue(hostText.toStdString()));
    if (whole != hostText || resolvedLanguage() == AppLanguage::simplifiedChinese)
        return whole;
    // Not in the catalogue as a whole: a text with a detail appended in full-width brackets (a
    // display name, a command, the system's own message), where the detail may itself be such a
    // text. The brackets are matched from the end, so the lead may hold brackets of its own.
    if (!hostText.endsWith(kCloseBracket))
        return whole;
    int depth = 0;
    for (qsizetype i = hostText.size() - 1; i > 0; --i) {
        if (hostText.at(i) == kCloseBracket)
            ++depth;
        else if (hostText.at(i) == kOpenBracket && --depth == 0)
            return issueInBrackets(hostText.left(i)) + kOpenBracket +
                   issueInBrackets(hostText.mid(i + 1, hostText.size() - i - 2)) + kCloseBracket;
    }
    return whole;
}

bool AppStrings::eventFilter(QObject* watched, QEvent* event) {
    // The desktop's language list can only have changed with the locale, or while another
    // application was in front.
    if (watched == QCoreApplication::instance() &&
        (event->type() == QEvent::LocaleChange || event->type() == QEvent::ApplicationStateChange))
        apply();
    return QObject::eventFilter(watched, event);
}

AppLocalization AppStrings::localizationFor(AppLanguage resolvedLanguage) const {
    // Both catalogues come from the one installed translator, so a Chinese catalogue that gains
    // entries later corrects host texts as well as widget texts.
    const AppLocalization::CatalogueSource source = [this](AppLanguage) {
        return AppLocalization::Catalogue(
            [this](std::string_view key) -> std::optional<std::string> {
                const std::string source(key);
                const QString translated = m_translator.translate(hostTextContext, source.c_str());
                if (translated.isEmpty())
                    return std::nullopt;
                return translated.toStdString();
            });
    };
    return AppLocalization(resolvedLanguage, source, {});
}

bool AppStrings::apply() {
    const AppLanguage target = resolved(m_language, toStdList(m_desktopLanguages()));
    if (m_applied && target == m_localization.language())
        return false;

    QCoreApplication::removeTranslator(&m_translator);
    const QString name = catalogueName(target);
    if (m_translator.load(name, m_directory)) {
        // Installing (and removing) posts QEvent::LanguageChange to every widget.
        QCoreApplication::installTranslator(&m_translator);
    } else {
        qCWarning(lcStrings).noquote()
            << QStringLiteral("No catalogue %1 in %2; showing the Chinese texts").arg(name, m_directory);
    }
    m_applied = true;
    m_localization = localizationFor(target);
    qCInfo(lcStrings, "Interface language: %s (chosen: %s)", rawValue(target).data(),
           rawValue(m_language).data());
    Q_EMIT changed();
    return true;
}

} // namespace quillvane
