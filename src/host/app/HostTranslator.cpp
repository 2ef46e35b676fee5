#include "HostTranslator.h"

void HostTranslator::setLanguage(const QString& lang)
{
    m_language = lang;
    // A language without a catalogue leaves the translator empty (load
    // clears it first): the source texts then show.
    [[maybe_unused]] const bool found = load(QStringLiteral(":/i18n/linkhost_%1.qm").arg(lang));
}
