#include "HostTranslator.h"

#include <QHash>

namespace {
// The host's own contexts; Qt's widgets ask for theirs as well.
bool isHostContext(const char* context)
{
    return qstrcmp(context, "MainWindow") == 0 || qstrcmp(context, "VirtualCardPanel") == 0;
}

const QHash<QString, QString>& german()
{
    static const QHash<QString, QString> table = {
        // Main window
        {QStringLiteral("&File"), QStringLiteral("&Datei")},
        {QStringLiteral("&Quit"), QStringLiteral("&Beenden")},
        {QStringLiteral("&Device"), QStringLiteral("&Gerät")},
        {QStringLiteral("&Language"), QStringLiteral("&Sprache")},
        {QStringLiteral("Resource keys"), QStringLiteral("Ressourcenschlüssel")},
        {QStringLiteral("Choose device..."), QStringLiteral("Gerät wählen...")},
        {QStringLiteral("Verify PIN..."), QStringLiteral("PIN eingeben...")},
        {QStringLiteral("Enable PIN..."), QStringLiteral("PIN aktivieren...")},
        {QStringLiteral("Disable PIN..."), QStringLiteral("PIN deaktivieren...")},
        {QStringLiteral("Change PIN..."), QStringLiteral("PIN ändern...")},
        {QStringLiteral("Unblock PIN..."), QStringLiteral("PIN entsperren...")},
        {QStringLiteral("Radio on"), QStringLiteral("Funk ein")},
        {QStringLiteral("Radio off"), QStringLiteral("Funk aus")},
        {QStringLiteral("Go offline"), QStringLiteral("Offline gehen")},
        {QStringLiteral("Detach packet data"), QStringLiteral("Paketdaten abmelden")},
        {QStringLiteral("Detect devices"), QStringLiteral("Geräte suchen")},
        {QStringLiteral("No device manager is loaded"),
         QStringLiteral("Kein Geräte-Manager geladen")},
        {QStringLiteral("Mini frame refreshed"), QStringLiteral("Mini-Fenster aktualisiert")},
        {QStringLiteral("Menu: %1"), QStringLiteral("Menü: %1")},
        {QStringLiteral("Radio switch changed"), QStringLiteral("Funkschalter umgelegt")},
        {QStringLiteral("all"), QStringLiteral("alle")},
        {QStringLiteral("subscribers"), QStringLiteral("Abonnenten")},
        {QStringLiteral("mini frame"), QStringLiteral("Mini-Fenster")},
        {QStringLiteral("main frame"), QStringLiteral("Hauptfenster")},
        {QStringLiteral("main menu"), QStringLiteral("Hauptmenü")},
        {QStringLiteral("dial-up"), QStringLiteral("Einwahl")},
        {QStringLiteral("notification service"), QStringLiteral("Benachrichtigungsdienst")},
        {QStringLiteral("Device state"), QStringLiteral("Gerätestatus")},
        {QStringLiteral("Data connection up"), QStringLiteral("Datenverbindung steht")},
        {QStringLiteral("Notifications:"), QStringLiteral("Benachrichtigungen:")},
        {QStringLiteral("Devices from: %1"), QStringLiteral("Geräte von: %1")},
        {QStringLiteral("Device: none"), QStringLiteral("Gerät: keines")},
        {QStringLiteral("Device: changing"), QStringLiteral("Gerät: wird gewechselt")},
        {QStringLiteral("Device: present"), QStringLiteral("Gerät: vorhanden")},
        {QStringLiteral("Device: %1"), QStringLiteral("Gerät: %1")},
        {QStringLiteral("SIM: %1"), QStringLiteral("SIM: %1")},
        {QStringLiteral("Radio: %1"), QStringLiteral("Funk: %1")},
        {QStringLiteral("unknown"), QStringLiteral("unbekannt")},
        {QStringLiteral("ready"), QStringLiteral("bereit")},
        {QStringLiteral("not ready"), QStringLiteral("nicht bereit")},
        {QStringLiteral("on"), QStringLiteral("ein")},
        {QStringLiteral("off"), QStringLiteral("aus")},
        // Virtual card panel
        {QStringLiteral("Virtual card"), QStringLiteral("Virtuelle Karte")},
        {QStringLiteral("Name"), QStringLiteral("Name")},
        {QStringLiteral("Plugged"), QStringLiteral("Gesteckt")},
        {QStringLiteral("In use"), QStringLiteral("In Gebrauch")},
        {QStringLiteral("SIM"), QStringLiteral("SIM")},
        {QStringLiteral("PIN"), QStringLiteral("PIN")},
        {QStringLiteral("Radio hw/sw"), QStringLiteral("Funk hw/sw")},
        {QStringLiteral("yes"), QStringLiteral("ja")},
        {QStringLiteral("no"), QStringLiteral("nein")},
        {QStringLiteral("usable"), QStringLiteral("nutzbar")},
        {QStringLiteral("not usable"), QStringLiteral("nicht nutzbar")},
        {QStringLiteral("PIN off"), QStringLiteral("PIN aus")},
        {QStringLiteral("PIN verified"), QStringLiteral("PIN bestätigt")},
        {QStringLiteral("PIN required"), QStringLiteral("PIN nötig")},
        {QStringLiteral("PUK required"), QStringLiteral("PUK nötig")},
        {QStringLiteral("SIM blocked"), QStringLiteral("SIM gesperrt")},
        {QStringLiteral("plugged"), QStringLiteral("gesteckt")},
        {QStringLiteral("unplugged"), QStringLiteral("nicht gesteckt")},
        {QStringLiteral("in use"), QStringLiteral("in Gebrauch")},
        {QStringLiteral("SIM %1"), QStringLiteral("SIM %1")},
        {QStringLiteral("%1 PIN / %2 PUK tries left"),
         QStringLiteral("noch %1 PIN- / %2 PUK-Versuche")},
        {QStringLiteral("offline"), QStringLiteral("offline")},
        {QStringLiteral("packet data detached"), QStringLiteral("Paketdaten abgemeldet")},
        {QStringLiteral("fingerprint locked"), QStringLiteral("per Fingerabdruck gesperrt")},
        {QStringLiteral("%1 on port %2: %3"), QStringLiteral("%1 an Port %2: %3")},
        {QStringLiteral("No card"), QStringLiteral("Keine Karte")},
        {QStringLiteral("Plug"), QStringLiteral("Stecken")},
        {QStringLiteral("Unplug"), QStringLiteral("Ziehen")},
        {QStringLiteral("Add card"), QStringLiteral("Karte hinzufügen")},
        {QStringLiteral("Card in use: %1"), QStringLiteral("Karte in Gebrauch: %1")},
        {QStringLiteral("No card in use"), QStringLiteral("Keine Karte in Gebrauch")},
        {QStringLiteral("Hardware radio switch on"), QStringLiteral("Hardware-Funkschalter ein")},
        {QStringLiteral("SIM state word:"), QStringLiteral("SIM-Statuswort:")},
        {QStringLiteral("1-254 usable"), QStringLiteral("1-254 nutzbar")},
        {QStringLiteral("Apply"), QStringLiteral("Setzen")},
        {QStringLiteral("Fingerprint state:"), QStringLiteral("Fingerabdruck:")},
        {QStringLiteral("0 (good finger)"), QStringLiteral("0 (passender Finger)")},
        {QStringLiteral("Touch"), QStringLiteral("Berühren")},
        {QStringLiteral("Unplug \"%1\"?"), QStringLiteral("„%1“ ziehen?")},
        {QStringLiteral("Cancel"), QStringLiteral("Abbrechen")},
        {QStringLiteral("Virtual Card %1"), QStringLiteral("Virtuelle Karte %1")},
    };
    return table;
}
} // namespace

HostTranslator::HostTranslator(QObject* parent) : QTranslator(parent) {}

void HostTranslator::setLanguage(const QString& lang)
{
    m_language = lang;
    m_missing.clear();
}

QString HostTranslator::translate(const char* context, const char* sourceText,
                                  const char* disambiguation, int n) const
{
    Q_UNUSED(disambiguation)
    Q_UNUSED(n)
    if (isEmpty() || !sourceText || !isHostContext(context))
        return QString();
    const QString source = QString::fromUtf8(sourceText);
    const auto it = german().constFind(source);
    if (it != german().constEnd())
        return it.value();
    if (!m_missing.contains(source))
        m_missing.append(source);
    return QString();
}

bool HostTranslator::isEmpty() const
{
    return m_language != QLatin1String("de");
}
