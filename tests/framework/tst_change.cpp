#include "Change.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>
#include <QXmlStreamReader>

namespace {

const char Plugin[] = "DeviceMgrUIPlugin";
const char Frame[] = "XFramePlugin";

// Every key the device manager shows; the four shared captions live in the
// frame's context, all others in the plug-in's.
const QStringList SharedKeys{"IDS_OK", "IDS_CANCEL", "IDS_YES", "IDS_NO"};
const QStringList PluginKeys{
    "IDS_ACTIVE_DEVICE_FALSE",
    "IDS_DETECTE_DEVICE",
    "IDS_DEVICE_INVALID",
    "IDS_DEVICE_NAME",
    "IDS_DEV_MGR_PROMPT",
    "IDS_FPLOCK_PROMPT",
    "IDS_INIT_DEV_UNDERWAY",
    "IDS_MAINFRM_CANCEL_PROMPT",
    "IDS_MAINFRM_CHANGEPIN_SUCCESS",
    "IDS_MAINFRM_DISABLEPIN_SUCCESS",
    "IDS_MAINFRM_DISABLE_WINDOWSTXT",
    "IDS_MAINFRM_ENABLEPIN_SUCCESS",
    "IDS_MAINFRM_ENABLE_WINDOWSTXT",
    "IDS_MAINFRM_INPUT_NEW_PIN_PROMPT",
    "IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2",
    "IDS_MAINFRM_INPUT_OLD_PIN_PROMPT",
    "IDS_MAINFRM_INPUT_PIN_PROMPT",
    "IDS_MAINFRM_INPUT_PUK_PROMPT",
    "IDS_MAINFRM_OK_PROMPT",
    "IDS_MAINFRM_PIN_CANCELPROMPT",
    "IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT",
    "IDS_MAINFRM_PIN_REMAIN_PROMPT",
    "IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT",
    "IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT",
    "IDS_MAINFRM_PROMPT",
    "IDS_MAINFRM_PUK_REMAIN_PROMPT",
    "IDS_MAINFRM_UNKNOWN",
    "IDS_MGR_LIST_PROMPT",
    "IDS_MSG_CARD_BLOCKED",
    "IDS_MSG_WWAN_PRIVILIGE",
    "IDS_PIN_CHANGE_FAILED",
    "IDS_PIN_CHECK_FAILED",
    "IDS_PIN_DISABLE_FAILED",
    "IDS_PIN_ENABLE_FAILED",
    "IDS_PIN_MSG_PIN_DIFFER",
    "IDS_PIN_PIN_LOCKED",
    "IDS_PIN_PUK_FAILED",
    "IDS_PROMPT_CALLING_DISABLE",
    "IDS_PROMPT_CAPTION",
    "IDS_SIM_INVALID",
    // fingerprint sensor messages
    "IDS_GUIMSG_GOOD_IMAGE",
    "IDS_GUIMSG_NO_FINGER",
    "IDS_GUIMSG_TOO_LIGHT",
    "IDS_GUIMSG_TOO_DRY",
    "IDS_GUIMSG_TOO_DARK",
    "IDS_GUIMSG_TOO_HIGH",
    "IDS_GUIMSG_TOO_LOW",
    "IDS_GUIMSG_TOO_LEFT",
    "IDS_GUIMSG_TOO_RIGHT",
    "IDS_GUIMSG_TOO_SMALL",
    "IDS_GUIMSG_TOO_STRANGE",
    "IDS_GUIMSG_BAD_QUALITY",
    "IDS_GUIMSG_PUT_FINGER",
    "IDS_GUIMSG_PUT_FINGER2",
    "IDS_GUIMSG_PUT_FINGER3",
    "IDS_GUIMSG_REMOVE_FINGER",
    "IDS_GUIMSG_CONSOLIDATION_FAIL",
    "IDS_GUIMSG_CONSOLIDATION_SUCCEED",
    "IDS_GUIMSG_CLEAN_SENSOR",
    "IDS_GUIMSG_KEEP_FINGER",
    "IDS_GUIMSG_START",
    "IDS_GUIMSG_VERIFY_START",
    "IDS_GUIMSG_ENROLL_START",
    "IDS_GUIMSG_FINGER_DETECT_START",
    "IDS_GUIMSG_GUI_FINISH",
    "IDS_GUIMSG_GUI_FINISH_SUCCEED",
    "IDS_GUIMSG_GUI_FINISH_FAIL",
    "IDS_GUIMSG_CALIB_START",
    "IDS_GUIMSG_TOO_FAST",
    "IDS_GUIMSG_TOO_SKEWED",
    "IDS_GUIMSG_TOO_SHORT",
    "IDS_GUIMSG_TOUCH_SENSOR",
    "IDS_GUIMSG_PROCESSING_IMAGE",
    "IDS_GUIMSG_SWIPE_IN_PROGRESS",
    "IDS_GUIMSG_BACKWARD_MOVEMENT",
    "IDS_GUIMSG_JOINT_DETECTED",
    "IDS_GUIMSG_CENTER_AND_PRESS_HARDER",
    "IDS_GUIMSG_IMAGE_PROCESSED",
    "IDS_GUIMSG_PUT_FINGER4",
    "IDS_GUIMSG_PUT_FINGER5",
    "IDS_GUIMSG_ENROLL_PROGRESS",
    "IDS_GUIMSG_NO_MATCH",
};

struct Message
{
    QString context;
    QString key;
    QString text;
    bool finished = true;
};

struct Catalogue
{
    QString language;
    QList<Message> messages;
    QString error;

    QSet<QString> keys(const QString& context) const
    {
        QSet<QString> result;
        for (const Message& message : messages) {
            if (message.context == context)
                result.insert(message.key);
        }
        return result;
    }
    QString text(const QString& key) const
    {
        for (const Message& message : messages) {
            if (message.key == key)
                return message.text;
        }
        return QString();
    }
};

QString sourceDir()
{
    return qEnvironmentVariable("LINK_SOURCE_DIR");
}

Catalogue readCatalogue(const QString& lang)
{
    Catalogue catalogue;
    QFile file(
        QDir(sourceDir()).filePath(QStringLiteral("translations/linkmarrow_%1.ts").arg(lang)));
    if (!file.open(QIODevice::ReadOnly)) {
        catalogue.error = file.fileName() + QLatin1String(": ") + file.errorString();
        return catalogue;
    }
    QXmlStreamReader xml(&file);
    QString context;
    Message message;
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (!xml.isStartElement())
            continue;
        const auto name = xml.name();
        if (name == QLatin1String("TS")) {
            catalogue.language = xml.attributes().value(QLatin1String("language")).toString();
        } else if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("message")) {
            message = Message{context, {}, {}, true};
        } else if (name == QLatin1String("source")) {
            message.key = xml.readElementText();
        } else if (name == QLatin1String("translation")) {
            message.finished = xml.attributes().value(QLatin1String("type")).isEmpty();
            message.text = xml.readElementText();
            catalogue.messages.append(message);
        }
    }
    if (xml.hasError())
        catalogue.error = file.fileName() + QLatin1String(": ") + xml.errorString();
    return catalogue;
}

} // namespace

class TestChange : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void texts_data();
    void texts();
    void unknownLanguageIsRefused();
    void catalogueFiles_data();
    void catalogueFiles();
    void catalogueLanguagesAgree();
    void embeddedCataloguesMatchFiles_data();
    void embeddedCataloguesMatchFiles();
    void pluginSourcesUseKnownKeys();
};

void TestChange::init()
{
    QVERIFY(Change::SetLanguage(QStringLiteral("en")));
}

void TestChange::texts_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("expected");

    QTest::newRow("en shared caption") << "en"
                                       << "IDS_CANCEL" << Frame << "Cancel";
    QTest::newRow("de shared caption") << "de"
                                       << "IDS_CANCEL" << Frame << "Abbrechen";
    QTest::newRow("de yes") << "de"
                            << "IDS_YES" << Frame << "Ja";
    QTest::newRow("en plug-in text")
        << "en"
        << "IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT" << Plugin << "Change PIN";
    QTest::newRow("de plug-in text")
        << "de"
        << "IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT" << Plugin << "PIN ändern";
    QTest::newRow("key in the wrong context") << "en"
                                              << "IDS_OK" << Plugin << "";
    QTest::newRow("missing key") << "en"
                                 << "IDS_NOT_A_KEY" << Plugin << "";
    QTest::newRow("missing key, de") << "de"
                                     << "IDS_NOT_A_KEY" << Plugin << "";
    QTest::newRow("keys language") << "keys"
                                   << "IDS_MAINFRM_PROMPT" << Plugin << "IDS_MAINFRM_PROMPT";
    QTest::newRow("keys language, unknown key") << "keys"
                                                << "IDS_NOT_A_KEY" << Frame << "IDS_NOT_A_KEY";
    QTest::newRow("no catalogue") << "none"
                                  << "IDS_OK" << Frame << "";
}

void TestChange::texts()
{
    QFETCH(QString, language);
    QFETCH(QString, key);
    QFETCH(QString, context);
    QFETCH(QString, expected);

    QVERIFY(Change::SetLanguage(language));
    QCOMPARE(Change::Language(), language);
    const QString text = Change::tr(key, context);
    QCOMPARE(text, expected);
    // Empty means empty, never a null-versus-empty surprise for callers.
    QCOMPARE(text.isEmpty(), expected.isEmpty());
}

void TestChange::unknownLanguageIsRefused()
{
    QVERIFY(Change::SetLanguage(QStringLiteral("de")));
    QVERIFY(!Change::SetLanguage(QStringLiteral("fr")));
    QVERIFY(!Change::SetLanguage(QString()));
    QVERIFY(!Change::SetLanguage(QStringLiteral("DE")));
    QCOMPARE(Change::Language(), QStringLiteral("de"));
    QCOMPARE(Change::tr(QStringLiteral("IDS_NO"), Frame), QStringLiteral("Nein"));
    QCOMPARE(Change::Languages(), (QStringList{"en", "de", "keys", "none"}));
}

void TestChange::catalogueFiles_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("locale");
    QTest::newRow("en") << "en"
                        << "en_GB";
    QTest::newRow("de") << "de"
                        << "de_DE";
}

void TestChange::catalogueFiles()
{
    QFETCH(QString, language);
    QFETCH(QString, locale);
    QVERIFY2(!sourceDir().isEmpty(), "LINK_SOURCE_DIR is not set");

    const Catalogue catalogue = readCatalogue(language);
    QVERIFY2(catalogue.error.isEmpty(), qPrintable(catalogue.error));
    QCOMPARE(catalogue.language, locale);
    QCOMPARE(catalogue.keys(Frame), QSet<QString>(SharedKeys.begin(), SharedKeys.end()));
    QCOMPARE(catalogue.keys(Plugin), QSet<QString>(PluginKeys.begin(), PluginKeys.end()));
    QCOMPARE(catalogue.messages.size(), SharedKeys.size() + PluginKeys.size());
    for (const Message& message : catalogue.messages) {
        QVERIFY2(message.finished, qPrintable(message.key));
        QVERIFY2(!message.text.trimmed().isEmpty(), qPrintable(message.key));
        QVERIFY2(message.text != message.key, qPrintable(message.key));
    }

    // Placeholders the dialogs rely on.
    const QString simInvalid = catalogue.text(QStringLiteral("IDS_SIM_INVALID"));
    QVERIFY2(simInvalid.contains(QStringLiteral("%s")), qPrintable(simInvalid));
    for (const char* key : {"IDS_MAINFRM_PIN_REMAIN_PROMPT", "IDS_MAINFRM_PUK_REMAIN_PROMPT"}) {
        const QString text = catalogue.text(QLatin1String(key));
        QVERIFY2(text.endsWith(QStringLiteral("%d")), key);
        QCOMPARE(text.count(QStringLiteral("%d")), 1);
    }
    // No stray placeholders elsewhere: the callers substitute only these.
    for (const Message& message : catalogue.messages) {
        if (message.key == QLatin1String("IDS_SIM_INVALID") ||
            message.key.endsWith("_REMAIN_PROMPT"))
            continue;
        QVERIFY2(!message.text.contains(QLatin1Char('%')), qPrintable(message.key));
    }
}

void TestChange::catalogueLanguagesAgree()
{
    const Catalogue en = readCatalogue(QStringLiteral("en"));
    const Catalogue de = readCatalogue(QStringLiteral("de"));
    QVERIFY2(en.error.isEmpty() && de.error.isEmpty(), qPrintable(en.error + de.error));
    for (const QString& context : {QString(Frame), QString(Plugin)})
        QCOMPARE(de.keys(context), en.keys(context));
    // A German text that is the English one word for word was not translated;
    // "OK" and "PUK:" are the same in both languages.
    int same = 0;
    for (const Message& message : en.messages)
        same += de.text(message.key) == message.text ? 1 : 0;
    QVERIFY2(same <= 3, qPrintable(QString::number(same)));
}

void TestChange::embeddedCataloguesMatchFiles_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("en") << "en";
    QTest::newRow("de") << "de";
}

void TestChange::embeddedCataloguesMatchFiles()
{
    QFETCH(QString, language);
    const Catalogue catalogue = readCatalogue(language);
    QVERIFY2(catalogue.error.isEmpty(), qPrintable(catalogue.error));
    QVERIFY(Change::SetLanguage(language));
    for (const Message& message : catalogue.messages)
        QCOMPARE(Change::tr(message.key, message.context), message.text);
}

void TestChange::pluginSourcesUseKnownKeys()
{
    // Whatever key the plug-in's code names must be in both catalogues, in
    // the context the code asks for it.
    const QString dir = QDir(sourceDir()).filePath(QStringLiteral("src/DeviceMgrUIPlugin"));
    QVERIFY2(QDir(dir).exists(), qPrintable(dir));
    const QRegularExpression keyPattern(QStringLiteral("IDS_[A-Z0-9_]*[A-Z0-9]"));
    QSet<QString> used;
    QDirIterator files(dir, {QStringLiteral("*.cpp"), QStringLiteral("*.h")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        auto matches = keyPattern.globalMatch(text);
        while (matches.hasNext())
            used.insert(matches.next().captured());
    }
    for (const QString& language : {QStringLiteral("en"), QStringLiteral("de")}) {
        const Catalogue catalogue = readCatalogue(language);
        for (const QString& key : used) {
            const QString context = SharedKeys.contains(key) ? Frame : Plugin;
            QVERIFY2(catalogue.keys(context).contains(key),
                     qPrintable(language + QLatin1Char(' ') + key));
        }
    }
}

QTEST_GUILESS_MAIN(TestChange)
#include "tst_change.moc"
