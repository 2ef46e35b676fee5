#include "RecordMatcher.h"

#include <QJsonDocument>
#include <QTest>

class TestRecordMatcher : public QObject
{
    Q_OBJECT
private slots:
    void matching_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("expectation");
        QTest::addColumn<bool>("matches");
        const QString box = QStringLiteral(
            R"(icon=2 title="Prompt" text="Wrong PIN, \"2\" tries left" buttons="OK|Cancel" -> 1024)");
        const QString toOne = QStringLiteral("to 6A1F-AFFF 1027 0 0");
        const auto row = [](const char* name, const QString& kind, const QString& text,
                            const char* json, bool matches) {
            QTest::newRow(name) << kind << text << QByteArray(json) << matches;
        };
        row("text contains", "msgbox", box, R"({"icon": 2, "text": "tries left"})", true);
        row("text unescaped", "msgbox", box, R"({"text": "\"2\" tries"})", true);
        row("empty text only matches empty", "msgbox", box, R"({"text": ""})", false);
        row("empty text matches empty", "msgbox", R"(icon=1 title="" text="" buttons="" -> 1)",
            R"({"text": ""})", true);
        row("title is exact", "msgbox", box, R"({"title": "Prom"})", false);
        row("number by its text", "msgbox", box, R"({"reply": 1024})", true);
        row("code is not a prefix", "notify", "broadcast 5781 0 0", R"({"code": 578})", false);
        row("broadcast is to all", "notify", "broadcast 578 0 0", R"({"to": "all"})", true);
        row("sent to one is not all", "notify", toOne, R"({"to": "all"})", false);
        row("sent to one by identifier", "notify", toOne, R"({"code": "1027", "to": "6A1F-AFFF"})",
            true);
        row("sdk name is exact", "sdk", "UTPS_DevSrv_GetPinStatus(0) = 0",
            R"({"call": "UTPS_DevSrv_GetPin"})", false);
        row("sdk other result", "sdk", "UTPS_DevSrv_VerifyPin(0, \"1\") = 0", R"({"result": 1})",
            false);
        row("boolean by its text", "call", "IsValidSim = true", R"({"result": true})", true);
        row("false is not true", "call", "IsValidSim = false", R"({"result": true})", false);
        row("quoted result", "call", R"(GetLastUsedDeviceName = "Card A")",
            R"({"result": "Card A"})", true);
        row("no result to match", "call", "ShowChooseDevice", R"({"result": 0})", false);
        row("a field its kind lacks", "menu", "broadcast 578 0 0", R"({"code": 578})", false);
        row("absent and meta fields match anything", "menu", "RefreshMenu",
            R"({"expect": "menu", "timeout": 10, "comment": "x"})", true);
    }
    void matching()
    {
        QFETCH(QString, kind);
        QFETCH(QString, text);
        QFETCH(QByteArray, expectation);
        QFETCH(bool, matches);
        const Transcript::Record record{0, kind, text};
        QCOMPARE(
            RecordMatcher::matches(record, kind, QJsonDocument::fromJson(expectation).object()),
            matches);
    }
};

QTEST_GUILESS_MAIN(TestRecordMatcher)
#include "tst_recordmatcher.moc"
