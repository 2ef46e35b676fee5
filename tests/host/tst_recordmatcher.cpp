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

        const QString box = QStringLiteral("icon=2 title=\"Prompt\" text=\"Wrong PIN, \\\"2\\\" "
                                           "tries left\" buttons=\"OK|Cancel\" -> 1024");
        QTest::newRow("broadcast by code")
            << "notify"
            << "broadcast 578 0 0" << QByteArray(R"({"code": 578})") << true;
        QTest::newRow("broadcast is to all")
            << "notify"
            << "broadcast 578 0 0" << QByteArray(R"({"code": 578, "to": "all"})") << true;
        QTest::newRow("other code")
            << "notify"
            << "broadcast 578 0 0" << QByteArray(R"({"code": 579})") << false;
        QTest::newRow("code is not a prefix")
            << "notify"
            << "broadcast 5781 0 0" << QByteArray(R"({"code": 578})") << false;
        QTest::newRow("sent to one is not all")
            << "notify"
            << "to 6A1F93C2-7B4E-4d2a-9C61-3E8B5D20AFFF 1027 0 0"
            << QByteArray(R"({"code": 1027, "to": "all"})") << false;
        QTest::newRow("sent to one by identifier")
            << "notify"
            << "to 6A1F93C2-7B4E-4d2a-9C61-3E8B5D20AFFF 1027 0 0"
            << QByteArray(R"({"code": "1027", "to": "6A1F93C2-7B4E-4d2a-9C61-3E8B5D20AFFF"})")
            << true;
        QTest::newRow("kind must agree")
            << "menu"
            << "broadcast 578 0 0" << QByteArray(R"({"code": 578})") << false;
        QTest::newRow("absent fields match anything")
            << "notify"
            << "broadcast 578 0 0" << QByteArray(R"({})") << true;
        QTest::newRow("text contains")
            << "msgbox" << box << QByteArray(R"({"icon": 2, "text": "tries left"})") << true;
        QTest::newRow("escaped quotes are the text's own")
            << "msgbox" << box << QByteArray("{\"text\": \"\\\"2\\\" tries\"}") << true;
        QTest::newRow("empty text only matches empty")
            << "msgbox" << box << QByteArray(R"({"text": ""})") << false;
        QTest::newRow("title is exact")
            << "msgbox" << box << QByteArray(R"({"title": "Prom"})") << false;
        QTest::newRow("reply") << "msgbox" << box << QByteArray(R"({"reply": 1024})") << true;
        QTest::newRow("buttons") << "msgbox" << box << QByteArray(R"({"buttons": "OK|Cancel"})")
                                 << true;
        QTest::newRow("empty message text") << "msgbox"
                                            << R"(icon=1 title="" text="" buttons="" -> 1024)"
                                            << QByteArray(R"({"text": ""})") << true;
        QTest::newRow("sdk call and result")
            << "sdk"
            << R"(UTPS_DevSrv_VerifyPin(0, "1234") = 0)"
            << QByteArray(R"({"call": "UTPS_DevSrv_VerifyPin", "result": 0})") << true;
        QTest::newRow("sdk args") << "sdk"
                                  << R"(UTPS_DevSrv_VerifyPin(0, "1234") = 0)"
                                  << QByteArray("{\"args\": \"0, \\\"1234\\\"\"}") << true;
        QTest::newRow("sdk other result")
            << "sdk"
            << R"(UTPS_DevSrv_VerifyPin(0, "1234") = 0)" << QByteArray(R"({"result": 1})") << false;
        QTest::newRow("sdk name is exact")
            << "sdk"
            << "UTPS_DevSrv_GetPinStatus(0) = 0" << QByteArray(R"({"call": "UTPS_DevSrv_GetPin"})")
            << false;
        QTest::newRow("boolean result by its text")
            << "call"
            << "IsValidSim = true" << QByteArray(R"({"result": true})") << true;
        QTest::newRow("false is not true")
            << "call"
            << "IsValidSim = false" << QByteArray(R"({"result": true})") << false;
        QTest::newRow("quoted result, unquoted expectation")
            << "call"
            << R"(GetLastUsedDeviceName = "Card A")" << QByteArray(R"({"result": "Card A"})")
            << true;
        QTest::newRow("operation without result")
            << "call"
            << "ShowChooseDevice" << QByteArray(R"({"op": "ShowChooseDevice"})") << true;
        QTest::newRow("no result to match")
            << "call"
            << "ShowChooseDevice" << QByteArray(R"({"result": 0})") << false;
        QTest::newRow("setting") << "setting"
                                 << "Device/ProductType = 2"
                                 << QByteArray(R"({"key": "Device/ProductType", "value": 2})")
                                 << true;
        QTest::newRow("plugin") << "plugin"
                                << "unload DataPlugin"
                                << QByteArray(R"({"op": "unload", "id": "DataPlugin"})") << true;
        QTest::newRow("shown widget")
            << "shown"
            << "DeviceMgrUI_VerifyPINDlg" << QByteArray(R"({"widget": "DeviceMgrUI_VerifyPINDlg"})")
            << true;
        QTest::newRow("shown widget is exact")
            << "shown"
            << "DeviceMgrUI_VerifyPINDlg2"
            << QByteArray(R"({"widget": "DeviceMgrUI_VerifyPINDlg"})") << false;
        QTest::newRow("menu op") << "menu"
                                 << "DisableDeviceMenu" << QByteArray(R"({"op": "RefreshMenu"})")
                                 << false;
        QTest::newRow("meta keys are not fields")
            << "menu"
            << "RefreshMenu" << QByteArray(R"({"expect": "menu", "timeout": 10, "comment": "x"})")
            << true;
    }
    void matching()
    {
        QFETCH(QString, kind);
        QFETCH(QString, text);
        QFETCH(QByteArray, expectation);
        QFETCH(bool, matches);
        const QJsonObject expected = QJsonDocument::fromJson(expectation).object();
        const Transcript::Record record{0, kind, text};
        QCOMPARE(RecordMatcher::matches(record, kind, expected), matches);
    }

    void quotingRoundTrips_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << "PIN";
        QTest::newRow("quotes") << R"(say "no")";
        QTest::newRow("backslash before quote") << "a\\\"b";
        QTest::newRow("line break") << "one\ntwo";
        QTest::newRow("empty") << "";
    }
    void quotingRoundTrips()
    {
        QFETCH(QString, text);
        const QString quoted = RecordMatcher::quote(text);
        QVERIFY(!quoted.contains(QLatin1Char('\n')));
        QCOMPARE(RecordMatcher::unquote(quoted), text);
    }
};

QTEST_GUILESS_MAIN(TestRecordMatcher)
#include "tst_recordmatcher.moc"
