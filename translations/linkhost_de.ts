<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>Autostart</name>
    <message>
        <source>Cannot remove %1</source>
        <translation>%1 kann nicht entfernt werden</translation>
    </message>
    <message>
        <source>Cannot create the folder %1</source>
        <translation>Der Ordner %1 kann nicht angelegt werden</translation>
    </message>
    <message>
        <source>Cannot write %1: %2</source>
        <translation>%1 kann nicht geschrieben werden: %2</translation>
    </message>
</context>
<context>
    <name>HostTray</name>
    <message>
        <source>Show linkhost</source>
        <translation>linkhost anzeigen</translation>
    </message>
    <message>
        <source>Quit</source>
        <translation>Beenden</translation>
    </message>
    <message>
        <source>linkhost: no card</source>
        <translation>linkhost: keine Karte</translation>
    </message>
    <message>
        <source>card</source>
        <translation>Karte</translation>
    </message>
    <message>
        <source>linkhost: %1, PIN needed</source>
        <translation>linkhost: %1, PIN erforderlich</translation>
    </message>
    <message>
        <source>linkhost: %1, radio off</source>
        <translation>linkhost: %1, Funk aus</translation>
    </message>
    <message>
        <source>linkhost: %1, ready</source>
        <translation>linkhost: %1, bereit</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Mini frame refreshed</source>
        <translation>Mini-Fenster aktualisiert</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Device</source>
        <translation>&amp;Gerät</translation>
    </message>
    <message>
        <source>No device manager is loaded</source>
        <translation>Kein Geräte-Manager geladen</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Sprache</translation>
    </message>
    <message>
        <source>Resource keys</source>
        <translation>Ressourcenschlüssel</translation>
    </message>
    <message>
        <source>all</source>
        <translation>alle</translation>
    </message>
    <message>
        <source>subscribers</source>
        <translation>Abonnenten</translation>
    </message>
    <message>
        <source>mini frame</source>
        <translation>Mini-Fenster</translation>
    </message>
    <message>
        <source>main frame</source>
        <translation>Hauptfenster</translation>
    </message>
    <message>
        <source>main menu</source>
        <translation>Hauptmenü</translation>
    </message>
    <message>
        <source>dial-up</source>
        <translation>Einwahl</translation>
    </message>
    <message>
        <source>notification service</source>
        <translation>Benachrichtigungsdienst</translation>
    </message>
    <message>
        <source>Device state</source>
        <translation>Gerätestatus</translation>
    </message>
    <message>
        <source>Data connection up</source>
        <translation>Datenverbindung steht</translation>
    </message>
    <message>
        <source>Notifications:</source>
        <translation>Benachrichtigungen:</translation>
    </message>
    <message>
        <source>Menu: %1</source>
        <translation>Menü: %1</translation>
    </message>
    <message>
        <source>Radio switch changed</source>
        <translation>Funkschalter umgelegt</translation>
    </message>
    <message>
        <source>Devices from: %1</source>
        <translation>Geräte von: %1</translation>
    </message>
    <message>
        <source>Device: none</source>
        <translation>Gerät: keines</translation>
    </message>
    <message>
        <source>Device: changing</source>
        <translation>Gerät: wird gewechselt</translation>
    </message>
    <message>
        <source>Device: present</source>
        <translation>Gerät: vorhanden</translation>
    </message>
    <message>
        <source>Device: %1</source>
        <translation>Gerät: %1</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>unbekannt</translation>
    </message>
    <message>
        <source>SIM: %1</source>
        <translation>SIM: %1</translation>
    </message>
    <message>
        <source>ready</source>
        <translation>bereit</translation>
    </message>
    <message>
        <source>not ready</source>
        <translation>nicht bereit</translation>
    </message>
    <message>
        <source>Radio: %1</source>
        <translation>Funk: %1</translation>
    </message>
    <message>
        <source>on</source>
        <translation>ein</translation>
    </message>
    <message>
        <source>off</source>
        <translation>aus</translation>
    </message>
    <message>
        <source>Choose device...</source>
        <translation>Gerät wählen...</translation>
    </message>
    <message>
        <source>Verify PIN...</source>
        <translation>PIN eingeben...</translation>
    </message>
    <message>
        <source>Enable PIN...</source>
        <translation>PIN aktivieren...</translation>
    </message>
    <message>
        <source>Disable PIN...</source>
        <translation>PIN deaktivieren...</translation>
    </message>
    <message>
        <source>Change PIN...</source>
        <translation>PIN ändern...</translation>
    </message>
    <message>
        <source>Unblock PIN...</source>
        <translation>PIN entsperren...</translation>
    </message>
    <message>
        <source>Radio on</source>
        <translation>Funk ein</translation>
    </message>
    <message>
        <source>Radio off</source>
        <translation>Funk aus</translation>
    </message>
    <message>
        <source>Go offline</source>
        <translation>Offline gehen</translation>
    </message>
    <message>
        <source>Detach packet data</source>
        <translation>Paketdaten abmelden</translation>
    </message>
    <message>
        <source>Detect devices</source>
        <translation>Geräte suchen</translation>
    </message>
    <message>
        <source>&amp;Settings</source>
        <translation>&amp;Einstellungen</translation>
    </message>
    <message>
        <source>Start at login</source>
        <translation>Bei der Anmeldung starten</translation>
    </message>
    <message>
        <source>Desktop notifications</source>
        <translation>Desktop-Benachrichtigungen</translation>
    </message>
    <message>
        <source>linkhost starts at login</source>
        <translation>linkhost startet bei der Anmeldung</translation>
    </message>
    <message>
        <source>linkhost no longer starts at login</source>
        <translation>linkhost startet nicht mehr bei der Anmeldung</translation>
    </message>
    <message>
        <source>The card</source>
        <translation>Die Karte</translation>
    </message>
    <message>
        <source>Card detected</source>
        <translation>Karte erkannt</translation>
    </message>
    <message>
        <source>%1 was plugged in.</source>
        <translation>%1 wurde eingesteckt.</translation>
    </message>
    <message>
        <source>SIM ready</source>
        <translation>SIM bereit</translation>
    </message>
    <message>
        <source>%1 is ready to connect.</source>
        <translation>%1 ist bereit zum Verbinden.</translation>
    </message>
    <message>
        <source>Radio switched</source>
        <translation>Funk umgeschaltet</translation>
    </message>
    <message>
        <source>The radio was switched by the hardware switch.</source>
        <translation>Der Funk wurde mit dem Hardwareschalter umgeschaltet.</translation>
    </message>
    <message>
        <source>Card removed</source>
        <translation>Karte entfernt</translation>
    </message>
    <message>
        <source>%1 was removed.</source>
        <translation>%1 wurde entfernt.</translation>
    </message>
</context>
<context>
    <name>VirtualCardPanel</name>
    <message>
        <source>yes</source>
        <translation>ja</translation>
    </message>
    <message>
        <source>no</source>
        <translation>nein</translation>
    </message>
    <message>
        <source>on</source>
        <translation>ein</translation>
    </message>
    <message>
        <source>off</source>
        <translation>aus</translation>
    </message>
    <message>
        <source>usable</source>
        <translation>nutzbar</translation>
    </message>
    <message>
        <source>not usable</source>
        <translation>nicht nutzbar</translation>
    </message>
    <message>
        <source>PIN off</source>
        <translation>PIN aus</translation>
    </message>
    <message>
        <source>PIN verified</source>
        <translation>PIN bestätigt</translation>
    </message>
    <message>
        <source>PIN required</source>
        <translation>PIN nötig</translation>
    </message>
    <message>
        <source>PUK required</source>
        <translation>PUK nötig</translation>
    </message>
    <message>
        <source>SIM blocked</source>
        <translation>SIM gesperrt</translation>
    </message>
    <message>
        <source>plugged</source>
        <translation>gesteckt</translation>
    </message>
    <message>
        <source>unplugged</source>
        <translation>nicht gesteckt</translation>
    </message>
    <message>
        <source>in use</source>
        <translation>in Gebrauch</translation>
    </message>
    <message>
        <source>SIM %1</source>
        <translation>SIM %1</translation>
    </message>
    <message>
        <source>%1 PIN / %2 PUK tries left</source>
        <translation>noch %1 PIN- / %2 PUK-Versuche</translation>
    </message>
    <message>
        <source>offline</source>
        <translation>offline</translation>
    </message>
    <message>
        <source>packet data detached</source>
        <translation>Paketdaten abgemeldet</translation>
    </message>
    <message>
        <source>fingerprint locked</source>
        <translation>per Fingerabdruck gesperrt</translation>
    </message>
    <message>
        <source>%1 on port %2: %3</source>
        <translation>%1 an Port %2: %3</translation>
    </message>
    <message>
        <source>Virtual card</source>
        <translation>Virtuelle Karte</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Plugged</source>
        <translation>Gesteckt</translation>
    </message>
    <message>
        <source>In use</source>
        <translation>In Gebrauch</translation>
    </message>
    <message>
        <source>SIM</source>
        <translation>SIM</translation>
    </message>
    <message>
        <source>PIN</source>
        <translation>PIN</translation>
    </message>
    <message>
        <source>Radio hw/sw</source>
        <translation>Funk hw/sw</translation>
    </message>
    <message>
        <source>Plug</source>
        <translation>Stecken</translation>
    </message>
    <message>
        <source>Unplug</source>
        <translation>Ziehen</translation>
    </message>
    <message>
        <source>Add card</source>
        <translation>Karte hinzufügen</translation>
    </message>
    <message>
        <source>Hardware radio switch on</source>
        <translation>Hardware-Funkschalter ein</translation>
    </message>
    <message>
        <source>SIM state word:</source>
        <translation>SIM-Statuswort:</translation>
    </message>
    <message>
        <source>1-254 usable</source>
        <translation>1-254 nutzbar</translation>
    </message>
    <message>
        <source>Apply</source>
        <translation>Setzen</translation>
    </message>
    <message>
        <source>Fingerprint state:</source>
        <translation>Fingerabdruck:</translation>
    </message>
    <message>
        <source>0 (good finger)</source>
        <translation>0 (passender Finger)</translation>
    </message>
    <message>
        <source>Touch</source>
        <translation>Berühren</translation>
    </message>
    <message>
        <source>No card</source>
        <translation>Keine Karte</translation>
    </message>
    <message>
        <source>Card in use: %1</source>
        <translation>Karte in Gebrauch: %1</translation>
    </message>
    <message>
        <source>No card in use</source>
        <translation>Keine Karte in Gebrauch</translation>
    </message>
    <message>
        <source>Unplug &quot;%1&quot;?</source>
        <translation>„%1“ ziehen?</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Virtual Card %1</source>
        <translation>Virtuelle Karte %1</translation>
    </message>
</context>
</TS>
