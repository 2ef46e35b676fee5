// The texts of linkhost's own windows (main window, menus, virtual card
// panel) in the language the user picked, from the host's Qt Linguist
// catalogues (translations/linkhost_<lang>.ts, embedded under :/i18n). The
// plug-ins' texts come from their own catalogues through Change::tr.
#pragma once

#include <QTranslator>

class HostTranslator : public QTranslator
{
    Q_OBJECT
public:
    explicit HostTranslator(QObject* parent = nullptr) : QTranslator(parent) {}

    // Loads the catalogue of `lang`; a language without one (or "en") gives
    // the source texts, which are English.
    void setLanguage(const QString& lang);
    QString language() const { return m_language; }

private:
    QString m_language;
};
