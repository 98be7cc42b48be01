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
    return QString::fromStdString(m_localization.issue(hostText.toStdString()));
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
