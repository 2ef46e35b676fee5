// The host's translator: resource keys to user texts, per language.
#pragma once

#include "LinkFrameworkExport.h"

#include <QString>
#include <QStringList>

class LINKFRAMEWORK_EXPORT Change
{
public:
    // The text of `key` in `context` for the current language. A key the
    // catalogue does not know gives an empty string, so callers can fall
    // back to a text of their own.
    static QString tr(const QString& key, const QString& context);
    // "en", "de", or "keys" (every key translates to itself). Returns false
    // and keeps the current language when no catalogue exists for `lang`.
    static bool SetLanguage(const QString& lang);
    static QString Language();
    static QStringList Languages();
};
