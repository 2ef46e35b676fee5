#include "RecordMatcher.h"

#include <QJsonDocument>
#include <QTest>

class TestRecordMatcher : public QObject
{
    Q_OBJECT
private slots:
    void matching_data()
    {
        QTest::addColumn<QString>("record"); // "<kind> <text>"
        QTest::addColumn<QString>("expectation");
        QTest::addColumn<bool>("matches");
        const QString box =
            "msgbox icon=2 title=\"Prompt\" text=\"Wrong PIN, \\\"2\\\" tries left\" "
            "buttons=\"OK|Cancel\" -> 1024";
        const QString toOne = "notify to 6A1F-AFFF 1001 0 0";
        // clang-format off
        QTest::newRow("text unescaped") << box << "{\"text\": \"\\\"2\\\" tries\"}" << true;
        QTest::newRow("empty text only matches empty") << box << R"({"text": ""})" << false;
        QTest::newRow("empty text matches empty") << R"(msgbox icon=1 title="" text="" buttons="" -> 1)" << R"({"text": ""})" << true;
        QTest::newRow("title is exact") << box << R"({"title": "Prom"})" << false;
        QTest::newRow("number by its text") << box << R"({"reply": 1024})" << true;
        QTest::newRow("code is not a prefix") << "notify broadcast 1001 0 0" << R"({"code": 100})" << false;
        QTest::newRow("sent to one is not all") << toOne << R"({"to": "all"})" << false;
        QTest::newRow("sent to one by identifier") << toOne << R"({"code": "1001", "to": "6A1F-AFFF"})" << true;
        QTest::newRow("sdk name is exact") << "sdk UTPS_DevSrv_GetPinStatus(0) = 0" << R"({"call": "UTPS_DevSrv_GetPin"})" << false;
        QTest::newRow("sdk other result") << "sdk UTPS_DevSrv_VerifyPin(0, \"1\") = 0" << R"({"result": 1})" << false;
        QTest::newRow("false is not true") << "call IsValidSim = false" << R"({"result": true})" << false;
        QTest::newRow("quoted result") << R"(call GetLastUsedDeviceName = "Card A")" << R"({"result": "Card A"})" << true;
        QTest::newRow("no result to match") << "call ShowChooseDevice" << R"({"result": 0})" << false;
        QTest::newRow("a field its kind lacks") << "menu broadcast 100 0 0" << R"({"code": 100})" << false;
        QTest::newRow("absent and meta fields match anything") << "menu RefreshMenu" << R"({"expect": "menu", "timeout": 10, "comment": "x"})" << true;
        // clang-format on
    }
    void matching()
    {
        QFETCH(QString, record);
        QFETCH(QString, expectation);
        QFETCH(bool, matches);
        const QString kind = record.section(' ', 0, 0);
        QCOMPARE(RecordMatcher::matches({0, kind, record.section(' ', 1)}, kind,
                                        QJsonDocument::fromJson(expectation.toUtf8()).object()),
                 matches);
    }
};

QTEST_GUILESS_MAIN(TestRecordMatcher)
#include "tst_recordmatcher.moc"
