// The texts of linkhost's own windows (main window, menus, virtual card
// panel) in the language the user picked. The plug-ins' texts come from the
// catalogues through Change::tr; these few belong to the host alone, so the
// host carries them itself.
#pragma once

#include <QStringList>
#include <QTranslator>

class HostTranslator : public QTranslator
{
    Q_OBJECT
public:
    explicit HostTranslator(QObject* parent = nullptr);

    // "de" gives German; any other language the source texts (English).
    void setLanguage(const QString& lang);
    QString language() const { return m_language; }

    QString translate(const char* context, const char* sourceText,
                      const char* disambiguation = nullptr, int n = -1) const override;
    bool isEmpty() const override;

    // Source texts asked for since the language was set that have no
    // translation: a text added to a window but not to the table.
    QStringList missing() const { return m_missing; }

private:
    QString m_language;
    mutable QStringList m_missing;
};
