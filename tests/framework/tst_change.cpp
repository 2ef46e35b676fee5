// The host's translator and its catalogues: fallbacks, the test languages,
// and en and de holding the same complete set of keys.
#include "Change.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QXmlStreamReader>

namespace {

const QString Plugin = "DeviceMgrUIPlugin";
const QString Frame = "XFramePlugin";
const QStringList SharedKeys{"IDS_OK", "IDS_CANCEL", "IDS_YES", "IDS_NO"}; // in Frame

// "context/key" -> text of translations/linkmarrow_<lang>.ts; unfinished or
// empty translations and read errors go to `errors`.
QMap<QString, QString> readCatalogue(const QString& lang, QStringList& errors)
{
    QFile file(qEnvironmentVariable("LINK_SOURCE_DIR") + "/translations/linkmarrow_" + lang +
               ".ts");
    if (!file.open(QIODevice::ReadOnly)) {
        errors << file.fileName() + ": " + file.errorString();
        return {};
    }
    QMap<QString, QString> texts;
    QXmlStreamReader xml(&file);
    QString context, key;
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            key = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation")) {
            const bool unfinished = !xml.attributes().value("type").isEmpty();
            const QString text = xml.readElementText();
            if (unfinished || text.trimmed().isEmpty() || text == key)
                errors << lang + " " + key + " is not translated";
            texts.insert(context + "/" + key, text);
        }
    }
    if (xml.hasError())
        errors << file.fileName() + ": " + xml.errorString();
    return texts;
}

} // namespace

class TestChange : public QObject
{
    Q_OBJECT
private slots:
    void fallbacks_data();
    void fallbacks();
    void catalogues_data();
    void catalogues();
};

void TestChange::fallbacks_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("expected");

    // clang-format off
    QTest::newRow("missing key") << "de" << "IDS_NOT_A_KEY" << Plugin << "";
    QTest::newRow("key of the other context") << "en" << "IDS_OK" << Plugin << "";
    QTest::newRow("keys") << "keys" << "IDS_MAINFRM_PROMPT" << Plugin << "IDS_MAINFRM_PROMPT";
    QTest::newRow("keys, unknown key") << "keys" << "IDS_NOT_A_KEY" << Frame << "IDS_NOT_A_KEY";
    QTest::newRow("none") << "none" << "IDS_OK" << Frame << "";
    QTest::newRow("unknown language: de stays") << "fr" << "IDS_NO" << Frame << "Nein";
    // clang-format on
}

void TestChange::fallbacks()
{
    QFETCH(QString, language);
    QFETCH(QString, key);
    QFETCH(QString, context);
    QFETCH(QString, expected);
    QVERIFY(Change::SetLanguage("de"));
    const bool refused = language == "fr" || language.isEmpty();
    QCOMPARE(Change::SetLanguage(language), !refused);
    QCOMPARE(Change::Language(), refused ? "de" : language);
    QCOMPARE(Change::tr(key, context), expected);
}

void TestChange::catalogues_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("en") << "en";
    QTest::newRow("de") << "de";
}

void TestChange::catalogues()
{
    QFETCH(QString, language);
    // Every key the plug-in's code names, in the context it asks for it.
    const QString sources = qEnvironmentVariable("LINK_SOURCE_DIR") + "/src/DeviceMgrUIPlugin";
    QStringList used;
    QDirIterator files(sources, {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        static const QRegularExpression key("IDS_[A-Z0-9_]*[A-Z0-9]");
        for (const auto& match : key.globalMatch(QString::fromUtf8(file.readAll())))
            used << (SharedKeys.contains(match.captured()) ? Frame : Plugin) + "/" +
                        match.captured();
    }
    used.removeDuplicates();
    used.sort();
    QVERIFY2(used.size() > 50, qPrintable(sources));

    QStringList errors;
    const QMap<QString, QString> texts = readCatalogue(language, errors);
    const QMap<QString, QString> english = readCatalogue("en", errors);
    QVERIFY2(errors.isEmpty(), qPrintable(errors.join('\n')));
    QCOMPARE(texts.keys(), used);
    QVERIFY(Change::SetLanguage(language));
    static const QRegularExpression placeholder("%[sd]");
    for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
        // What the host hands out is the file's text, with the placeholders the dialogs fill.
        QCOMPARE(Change::tr(it.key().section('/', 1), it.key().section('/', 0, 0)), it.value());
        QCOMPARE(it.value().count(placeholder), english.value(it.key()).count(placeholder));
    }
}

QTEST_GUILESS_MAIN(TestChange)
#include "tst_change.moc"
