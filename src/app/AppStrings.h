#pragma once

#include <QLocale>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QTranslator>

#include <functional>

#include "localization/AppLanguage.h"
#include "localization/AppLocalization.h"

namespace quillvane {

// The interface language of the program. It keeps the stored choice ("appLanguage"), resolves it
// against the desktop's language list, and keeps the matching Qt translator installed, so every
// widget receives QEvent::LanguageChange and re-reads its tr() texts. Texts the host and the core
// keep untranslated (status, issues, errors) are translated at display time through text() and
// issue(), from the same translator's HostText context.
class AppStrings : public QObject {
    Q_OBJECT

public:
    // The context of the catalogue that holds the core's and the host's texts.
    static constexpr const char* hostTextContext = "HostText";

    using LanguageList = std::function<QStringList()>;

    // `translationsDirectory` holds quillvane_<language>.qm; empty = <exe dir>/../share/quillvane/
    // translations. `desktopLanguages` is the desktop's language list, by default
    // QLocale::system().uiLanguages(); it is read again on a locale change and whenever the
    // application becomes active.
    explicit AppStrings(QSettings& settings, QString translationsDirectory = {},
                        LanguageList desktopLanguages = {}, QObject* parent = nullptr);
    ~AppStrings() override;

    AppLanguage language() const { return m_language; }
    void setLanguage(AppLanguage language);

    // simplifiedChinese or english: what is on screen.
    AppLanguage resolvedLanguage() const { return m_localization.language(); }
    // The locale of the resolved language, for formatting numbers and dates.
    QLocale locale() const;

    QString text(const QString& chineseKey) const;
    // A host text as shown: its catalogue entry, or, for a text with a detail appended in
    // full-width brackets, the translated lead with the detail translated where it can be. English
    // wraps the detail in ASCII brackets.
    QString issue(const QString& hostText) const;

    static QString defaultTranslationsDirectory();

Q_SIGNALS:
    // The stored or the resolved language changed; the translator is already in place.
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    AppLocalization localizationFor(AppLanguage resolvedLanguage) const;
    // issue() with the full-width brackets kept.
    QString issueInBrackets(const QString& hostText) const;
    // Resolves the stored choice again and swaps the translator when the result differs.
    bool apply();

    QSettings& m_settings;
    QString m_directory;
    LanguageList m_desktopLanguages;
    AppLanguage m_language;
    AppLocalization m_localization;
    QTranslator m_translator;
    bool m_applied = false;
};

} // namespace quillvane
