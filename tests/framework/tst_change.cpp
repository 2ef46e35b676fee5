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
    if (!file.open(QIODevice::ReadOnly))
        errors << file.fileName() + ": " + file.errorString();
    QMap<QString, QString> texts;
    QXmlStreamReader xml(&file);
    QString context, key;
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (!xml.isStartElement())
            continue;
        if (xml.name() == u"name") {
            context = xml.readElementText();
        } else if (xml.name() == u"source") {
            key = xml.readElementText();
        } else if (xml.name() == u"translation") {
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
    void fallbacks()
    {
        // Switches from de to `lang`, then asks for `key` of `context`.
        const auto lookUp = [](const QString& lang, const char* key, const QString& context) {
            Change::SetLanguage("de");
            const bool accepted = Change::SetLanguage(lang);
            return (accepted ? "" : "refused: ") + Change::tr(key, context);
        };
        QCOMPARE(lookUp("de", "IDS_NOT_A_KEY", Plugin), "");
        QCOMPARE(lookUp("en", "IDS_OK", Plugin), ""); // a key of the other context
        QCOMPARE(lookUp("keys", "IDS_MAINFRM_PROMPT", Plugin), "IDS_MAINFRM_PROMPT");
        QCOMPARE(lookUp("keys", "IDS_NOT_A_KEY", Frame), "IDS_NOT_A_KEY");
        QCOMPARE(lookUp("none", "IDS_OK", Frame), "");
        QCOMPARE(lookUp("fr", "IDS_NO", Frame), "refused: Nein"); // de stays
    }
    void catalogues()
    {
        // Every key the plug-in's code names, in the context it asks for it.
        const QString sources = qEnvironmentVariable("LINK_SOURCE_DIR") + "/src/DeviceMgrUIPlugin";
        QMap<QString, bool> used; // sorted, once each
        QDirIterator files(sources, {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            static const QRegularExpression key("IDS_[A-Z0-9_]*[A-Z0-9]");
            for (const auto& match : key.globalMatch(QString::fromUtf8(file.readAll())))
                used[(SharedKeys.contains(match.captured()) ? Frame : Plugin) + "/" +
                     match.captured()] = true;
        }
        QVERIFY2(used.size() > 50, qPrintable(sources));
        QStringList errors;
        const QMap<QString, QString> english = readCatalogue("en", errors);
        const QMap<QString, QString> german = readCatalogue("de", errors);
        QVERIFY2(errors.isEmpty(), qPrintable(errors.join('\n')));
        static const QRegularExpression placeholder("%[sd]");
        for (const auto& [language, texts] : {std::pair{"en", english}, {"de", german}}) {
            QCOMPARE(texts.keys(), used.keys());
            QVERIFY(Change::SetLanguage(language));
            // What the host hands out is the file's text, with the placeholders the dialogs fill.
            for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
                QCOMPARE(Change::tr(it.key().section('/', 1), it.key().section('/', 0, 0)),
                         it.value());
                QCOMPARE(it.value().count(placeholder), english.value(it.key()).count(placeholder));
            }
        }
    }
};

QTEST_GUILESS_MAIN(TestChange)
#include "tst_change.moc"
