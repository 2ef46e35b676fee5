<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>XFramePlugin</name>
    <message>
        <source>IDS_CANCEL</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>IDS_NO</source>
        <translation>Nein</translation>
    </message>
    <message>
        <source>IDS_OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>IDS_YES</source>
        <translation>Ja</translation>
    </message>
</context>
<context>
    <name>DeviceMgrUIPlugin</name>
    <message>
        <source>IDS_ACTIVE_DEVICE_FALSE</source>
        <translation>Möchten Sie zum ausgewählten Gerät wechseln? Das Gerät, das gerade verwendet wird, wird dabei freigegeben.</translation>
    </message>
    <message>
        <source>IDS_DETECTE_DEVICE</source>
        <translation>Ein neues Gerät wurde erkannt.</translation>
    </message>
    <message>
        <source>IDS_DEVICE_INVALID</source>
        <translation>Die Datenkarte ist ungültig oder wird nicht unterstützt.</translation>
    </message>
    <message>
        <source>IDS_DEVICE_NAME</source>
        <translation>Gerätename</translation>
    </message>
    <message>
        <source>IDS_DEV_MGR_PROMPT</source>
        <translation>Gerät auswählen</translation>
    </message>
    <message>
        <source>IDS_FPLOCK_PROMPT</source>
        <translation>Diese Datenkarte ist gesperrt. Legen Sie Ihren Finger auf den Fingerabdrucksensor, um sie zu entsperren.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_BACKWARD_MOVEMENT</source>
        <translation>Ihr Finger hat sich rückwärts bewegt. Ziehen Sie ihn nur in eine Richtung.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_BAD_QUALITY</source>
        <translation>Die Bildqualität ist zu schlecht. Bitte versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CALIB_START</source>
        <translation>Der Sensor wird kalibriert...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CENTER_AND_PRESS_HARDER</source>
        <translation>Legen Sie den Finger mittig auf den Sensor und drücken Sie fester.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CLEAN_SENSOR</source>
        <translation>Bitte reinigen Sie den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CONSOLIDATION_FAIL</source>
        <translation>Die Fingerabdruckaufnahmen konnten nicht zusammengeführt werden. Bitte beginnen Sie erneut.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CONSOLIDATION_SUCCEED</source>
        <translation>Die Fingerabdruckaufnahmen wurden zusammengeführt.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_ENROLL_PROGRESS</source>
        <translation>Der Fingerabdruck wird erfasst...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_ENROLL_START</source>
        <translation>Die Erfassung des Fingerabdrucks hat begonnen.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_FINGER_DETECT_START</source>
        <translation>Warten auf Ihren Finger...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GOOD_IMAGE</source>
        <translation>Fingerabdruck erkannt.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH</source>
        <translation>Die Fingerabdruckprüfung ist beendet.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH_FAIL</source>
        <translation>Die Fingerabdruckprüfung ist fehlgeschlagen.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH_SUCCEED</source>
        <translation>Die Fingerabdruckprüfung war erfolgreich.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_IMAGE_PROCESSED</source>
        <translation>Das Bild wurde verarbeitet.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_JOINT_DETECTED</source>
        <translation>Ein Fingergelenk wurde erkannt. Verwenden Sie die Fingerkuppe.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_KEEP_FINGER</source>
        <translation>Lassen Sie den Finger auf dem Sensor liegen.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_NO_FINGER</source>
        <translation>Kein Finger erkannt.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_NO_MATCH</source>
        <translation>Der Fingerabdruck stimmt nicht überein. Bitte versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PROCESSING_IMAGE</source>
        <translation>Das Bild wird verarbeitet...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER</source>
        <translation>Legen Sie Ihren Finger auf den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER2</source>
        <translation>Legen Sie Ihren Finger ein zweites Mal auf den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER3</source>
        <translation>Legen Sie Ihren Finger ein drittes Mal auf den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER4</source>
        <translation>Legen Sie Ihren Finger ein viertes Mal auf den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER5</source>
        <translation>Legen Sie Ihren Finger ein fünftes Mal auf den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_REMOVE_FINGER</source>
        <translation>Nehmen Sie den Finger vom Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_START</source>
        <translation>Der Fingerabdrucksensor ist bereit.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_SWIPE_IN_PROGRESS</source>
        <translation>Ihr Finger wird erfasst...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_DARK</source>
        <translation>Das Bild ist zu dunkel. Legen Sie den Finger leichter auf.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_DRY</source>
        <translation>Ihr Finger ist zu trocken. Befeuchten Sie ihn leicht und versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_FAST</source>
        <translation>Sie haben den Finger zu schnell bewegt. Ziehen Sie ihn langsamer über den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_HIGH</source>
        <translation>Ihr Finger liegt zu hoch auf dem Sensor. Schieben Sie ihn nach unten.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LEFT</source>
        <translation>Ihr Finger liegt zu weit links. Schieben Sie ihn nach rechts.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LIGHT</source>
        <translation>Das Bild ist zu hell. Drücken Sie den Finger etwas fester auf.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LOW</source>
        <translation>Ihr Finger liegt zu tief auf dem Sensor. Schieben Sie ihn nach oben.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_RIGHT</source>
        <translation>Ihr Finger liegt zu weit rechts. Schieben Sie ihn nach links.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SHORT</source>
        <translation>Die Bewegung war zu kurz. Ziehen Sie die ganze Fingerkuppe über den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SKEWED</source>
        <translation>Ihr Finger liegt schräg. Ziehen Sie ihn gerade über den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SMALL</source>
        <translation>Der Finger berührt den Sensor zu wenig. Legen Sie ihn flach auf.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_STRANGE</source>
        <translation>Das Bild wurde nicht erkannt. Bitte versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOUCH_SENSOR</source>
        <translation>Berühren Sie den Sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_VERIFY_START</source>
        <translation>Ihr Fingerabdruck wird geprüft...</translation>
    </message>
    <message>
        <source>IDS_INIT_DEV_UNDERWAY</source>
        <translation>Das Gerät wird initialisiert, bitte warten...</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_CANCEL_PROMPT</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_CHANGEPIN_SUCCESS</source>
        <translation>Die PIN wurde geändert.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_DISABLEPIN_SUCCESS</source>
        <translation>Der PIN-Schutz wurde deaktiviert.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_DISABLE_WINDOWSTXT</source>
        <translation>PIN deaktivieren</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_ENABLEPIN_SUCCESS</source>
        <translation>Der PIN-Schutz wurde aktiviert.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_ENABLE_WINDOWSTXT</source>
        <translation>PIN aktivieren</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_NEW_PIN_PROMPT</source>
        <translation>Neue PIN:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2</source>
        <translation>Neue PIN bestätigen:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_OLD_PIN_PROMPT</source>
        <translation>Aktuelle PIN:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_PIN_PROMPT</source>
        <translation>Bitte geben Sie die PIN der SIM-Karte ein (4 bis 8 Ziffern):</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_PUK_PROMPT</source>
        <translation>PUK:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_OK_PROMPT</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_CANCELPROMPT</source>
        <translation>Ohne PIN kann die Datenkarte nicht verwendet werden. Möchten Sie die PIN-Eingabe wirklich abbrechen?</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT</source>
        <translation>PIN ändern</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_REMAIN_PROMPT</source>
        <translation>Verbleibende PIN-Versuche: %d</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT</source>
        <translation>PIN entsperren</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT</source>
        <translation>PIN eingeben</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PROMPT</source>
        <translation>Hinweis</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PUK_REMAIN_PROMPT</source>
        <translation>Verbleibende PUK-Versuche: %d</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_UNKNOWN</source>
        <translation>Verbleibende Versuche: unbekannt</translation>
    </message>
    <message>
        <source>IDS_MGR_LIST_PROMPT</source>
        <translation>Es sind mehrere Datenkarten angeschlossen. Wählen Sie die Karte aus, die verwendet werden soll:</translation>
    </message>
    <message>
        <source>IDS_MSG_CARD_BLOCKED</source>
        <translation>Die Datenkarte ist dauerhaft gesperrt. Bitte wenden Sie sich an Ihren Netzbetreiber.</translation>
    </message>
    <message>
        <source>IDS_MSG_WWAN_PRIVILIGE</source>
        <translation>Diese Anwendung darf die PIN nicht entsperren. Bitte entsperren Sie sie über die Mobilfunkeinstellungen des Systems.</translation>
    </message>
    <message>
        <source>IDS_PIN_CHANGE_FAILED</source>
        <translation>Die PIN konnte nicht geändert werden. Bitte prüfen Sie die aktuelle PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_CHECK_FAILED</source>
        <translation>Falsche PIN. Bitte versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_PIN_DISABLE_FAILED</source>
        <translation>Der PIN-Schutz konnte nicht deaktiviert werden. Bitte prüfen Sie die PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_ENABLE_FAILED</source>
        <translation>Der PIN-Schutz konnte nicht aktiviert werden. Bitte prüfen Sie die PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_MSG_PIN_DIFFER</source>
        <translation>Die neue PIN und die Bestätigung stimmen nicht überein.</translation>
    </message>
    <message>
        <source>IDS_PIN_PIN_LOCKED</source>
        <translation>Die PIN ist jetzt gesperrt. Geben Sie die PUK ein, um sie zu entsperren.</translation>
    </message>
    <message>
        <source>IDS_PIN_PUK_FAILED</source>
        <translation>Falsche PUK. Bitte versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>IDS_PROMPT_CALLING_DISABLE</source>
        <translation>Dieser Vorgang ist während eines Telefonats nicht möglich.</translation>
    </message>
    <message>
        <source>IDS_PROMPT_CAPTION</source>
        <translation>Gerät wechseln</translation>
    </message>
    <message>
        <source>IDS_SIM_INVALID</source>
        <translation>Es wurde keine gültige %s-Karte gefunden. Bitte legen Sie eine gültige %s-Karte ein und schließen Sie das Gerät erneut an.</translation>
    </message>
</context>
</TS>
