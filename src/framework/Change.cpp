#include "Change.h"

#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QTranslator>

#include <memory>

namespace {

const char KeysLanguage[] = "keys";
const char NoCatalogue[] = "none";

struct Translations
{
    QMutex mutex;
    QString language = QStringLiteral("en");
    // Loaded on first use and kept: switching back and forth is cheap.
    QHash<QString, std::shared_ptr<QTranslator>> catalogues;
};

Translations& translations()
{
    static Translations state;
    return state;
}

bool hasCatalogue(const QString& lang)
{
    return lang == QLatin1String("en") || lang == QLatin1String("de");
}

// Caller holds the mutex.
std::shared_ptr<QTranslator> catalogue(Translations& state, const QString& lang)
{
    auto found = state.catalogues.constFind(lang);
    if (found != state.catalogues.constEnd())
        return found.value();
    auto translator = std::make_shared<QTranslator>();
    const QString file = QStringLiteral(":/i18n/linkmarrow_%1.qm").arg(lang);
    if (!translator->load(file)) {
        qWarning("Change: cannot load the catalogue %s", qPrintable(file));
        return nullptr;
    }
    state.catalogues.insert(lang, translator);
    return translator;
}

} // namespace

QString Change::tr(const QString& key, const QString& context)
{
    Translations& state = translations();
    QMutexLocker lock(&state.mutex);
    if (state.language == QLatin1String(KeysLanguage))
        return key;
    if (state.language == QLatin1String(NoCatalogue))
        return QString();
    const std::shared_ptr<QTranslator> translator = catalogue(state, state.language);
    if (!translator)
        return QString();
    return translator->translate(context.toUtf8().constData(), key.toUtf8().constData());
}

bool Change::SetLanguage(const QString& lang)
{
    if (!Languages().contains(lang))
        return false;
    Translations& state = translations();
    QMutexLocker lock(&state.mutex);
    if (hasCatalogue(lang) && !catalogue(state, lang))
        return false;
    state.language = lang;
    return true;
}

QString Change::Language()
{
    Translations& state = translations();
    QMutexLocker lock(&state.mutex);
    return state.language;
}

QStringList Change::Languages()
{
    return {QStringLiteral("en"), QStringLiteral("de"), QLatin1String(KeysLanguage),
            QLatin1String(NoCatalogue)};
}
