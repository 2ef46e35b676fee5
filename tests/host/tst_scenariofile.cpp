#include "ScenarioFile.h"

#include <QTemporaryDir>
#include <QTest>

class TestScenarioFile : public QObject
{
    Q_OBJECT
private slots:
    void readsDevicesHostAndSteps()
    {
        const QByteArray json = R"({
            "devices": [
                { "name": "A", "plugged": false, "productType": 1,
                  "sim": { "pin": "0000", "pinEnabled": true, "pinRetries": 1 },
                  "rf": { "hw": 0 }, "fingerprint": true },
                {}
            ],
            "host": { "language": "de", "win7": true, "wwanReadyAfter": 3,
                      "settings": { "customize/imsi_detach": "yes", "Device/ProductType": 2 },
                      "faults": [ { "function": "UTPS_DevSrv_VerifyPin", "result": 5 } ],
                      "eventGapMs": 300, "dialupConnected": true, "frameStyle": 4,
                      "reloadMap": { "A": ["x"] } },
            "steps": [ { "do": "plug", "device": 1 }, { "expect-not": "msgbox", "for": 50 } ]
        })";
        Scenario scenario;
        QString error;
        QVERIFY2(ScenarioFile::parse(json, ScenarioFile::Replay, &scenario, &error),
                 qPrintable(error));
        QCOMPARE(int(scenario.devices.size()), 2);
        const sim::CardConfig& first = scenario.devices.at(0);
        QCOMPARE(first.name, std::string("A"));
        QVERIFY(!first.plugged);
        QCOMPARE(first.productType, 1);
        QCOMPARE(first.sim.pin, std::string("0000"));
        QVERIFY(first.sim.pinEnabled);
        QCOMPARE(first.sim.pinRetries, 1);
        QCOMPARE(first.sim.puk, sim::SimConfig().puk);
        QCOMPARE(first.rf.hw, 0);
        QCOMPARE(first.rf.sw, sim::RfConfig().sw);
        QVERIFY(first.fingerprint);
        QVERIFY(scenario.devices.at(1).plugged);

        const ScenarioHost& host = scenario.host;
        QCOMPARE(host.language, QStringLiteral("de"));
        QVERIFY(host.sdk.win7);
        QCOMPARE(host.sdk.wwanReadyAfter, 3);
        QVERIFY(!host.sdkUserDataDirSet);
        QCOMPARE(host.settings.size(), 2);
        QVERIFY(
            host.settings.contains({QStringLiteral("Device/ProductType"), QStringLiteral("2")}));
        QCOMPARE(host.faults.size(), 1);
        QCOMPARE(host.faults.first().result, 5);
        QCOMPARE(host.faults.first().times, 1);
        QCOMPARE(host.eventGapMs, 300);
        QVERIFY(host.dialupConnected);
        QCOMPARE(host.frameStyle, 4);
        QVERIFY(host.hasReloadMap);

        QCOMPARE(scenario.steps.size(), 2);
        QCOMPARE(scenario.steps.at(0).number, 1);
        QVERIFY(!scenario.steps.at(0).expectation);
        QCOMPARE(scenario.steps.at(0).name, QStringLiteral("plug"));
        QVERIFY(scenario.steps.at(1).negated);
        QCOMPARE(scenario.steps.at(1).name, QStringLiteral("msgbox"));
    }

    void badFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");
        QTest::newRow("malformed JSON names line and column")
            << QByteArray("{\n  \"steps\": [\n    { \"do\": \"quit\" }\n    { }\n  ]\n}")
            << "line 4, column 7: malformed JSON: missing value separator";
        QTest::newRow("not an object") << QByteArray("[1, 2]") << "must be a JSON object";
        QTest::newRow("steps missing") << QByteArray("{}") << "missing required field \"steps\"";
        QTest::newRow("unknown top-level key")
            << QByteArray(R"({"steps": [], "step": []})") << "unknown field \"step\"";
        QTest::newRow("unknown action")
            << QByteArray(R"({"steps": [{"do": "quit"}, {"do": "plugg", "device": 0}]})")
            << "step 2 {\"device\":0,\"do\":\"plugg\"}: unknown action \"plugg\"";
        QTest::newRow("unknown expectation kind")
            << QByteArray(R"({"steps": [{"expect": "notfy", "code": 1}]})")
            << "step 1 {\"code\":1,\"expect\":\"notfy\"}: unknown expectation kind \"notfy\"";
        QTest::newRow("missing required field")
            << QByteArray(R"({"steps": [{"do": "type", "widget": "X"}]})")
            << "step 1 {\"do\":\"type\",\"widget\":\"X\"}: missing required field \"text\"";
        QTest::newRow("misspelt expectation field")
            << QByteArray(R"({"steps": [{"expect": "notify", "cod": 578}]})")
            << "unknown field \"cod\"";
        QTest::newRow("wrong type") << QByteArray(R"({"steps": [{"do": "wait", "ms": "100"}]})")
                                    << "\"ms\" must be an integer";
        QTest::newRow("fraction where an integer belongs")
            << QByteArray(R"({"steps": [{"do": "wait", "ms": 1.5}]})") << "must be an integer";
        QTest::newRow("both do and expect")
            << QByteArray(R"({"steps": [{"do": "quit", "expect": "menu"}]})")
            << "exactly one of \"do\", \"expect\" and \"expect-not\"";
        QTest::newRow("step not an object")
            << QByteArray(R"({"steps": [3]})") << "step 1: a step must be an object";
        QTest::newRow("device index out of range")
            << QByteArray(R"({"devices": [{}], "steps": [{"do": "unplug", "device": 1}]})")
            << "\"device\" 1 is not one of the 1 devices";
        QTest::newRow("unknown operation")
            << QByteArray(R"({"steps": [{"do": "call", "op": "DetachGPRS"}]})")
            << "\"op\" is not an IDeviceMgr operation";
        QTest::newRow("bad key")
            << QByteArray(R"({"steps": [{"do": "key", "widget": "W", "key": "Ctrl+"}]})")
            << "\"key\" is not one key";
        QTest::newRow("bad reply")
            << QByteArray(R"({"steps": [{"do": "answer", "reply": "fourth"}]})")
            << "\"reply\" must be";
        QTest::newRow("bad payload")
            << QByteArray(R"({"steps": [{"do": "event", "code": 6601, "payload": [-1]}]})")
            << "\"payload\" words must be unsigned";
        QTest::newRow("payload of the wrong kind")
            << QByteArray(R"({"steps": [{"do": "event", "code": 6601, "payload": "list"}]})")
            << "\"payload\" must be an array";
        QTest::newRow("widget is not for expect-not")
            << QByteArray(R"({"steps": [{"expect-not": "widget", "widget": "W"}]})")
            << "\"widget\" is checked with \"expect\" only";
        QTest::newRow("misspelt device field")
            << QByteArray(R"({"devices": [{"sim": {"pinEnable": true}}], "steps": []})")
            << "devices[0].sim: unknown field \"pinEnable\"";
        QTest::newRow("setting without group")
            << QByteArray(R"({"host": {"settings": {"imsi_detach": "y"}}, "steps": []})")
            << "\"imsi_detach\" is not \"group/key\"";
        QTest::newRow("menu entry without its name")
            << QByteArray(R"({"steps": [{"do": "trigger"}]})")
            << "missing required field \"action\"";
        QTest::newRow("screen is a yes or no")
            << QByteArray(R"({"steps": [{"do": "screenshot", "screen": "yes"}]})")
            << "\"screen\" must be true or false";
        QTest::newRow("fault without function")
            << QByteArray(R"({"host": {"faults": [{"result": 1}]}, "steps": []})")
            << "host.faults[0]: missing required field \"function\"";
    }
    void badFilesAreRefused()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, message);
        Scenario scenario;
        QString error;
        QVERIFY(!ScenarioFile::parse(json, ScenarioFile::Replay, &scenario, &error));
        QVERIFY2(error.contains(message), qPrintable(error));
    }

    void everyActionAndExpectationIsAccepted_data()
    {
        QTest::addColumn<QByteArray>("step");
        const QList<QByteArray> steps = {
            R"({"do": "plug", "device": 0})",
            R"({"do": "unplug", "device": 0})",
            R"({"do": "event", "code": 6606, "payload": "devices"})",
            R"({"do": "event", "code": 6619, "payload": [1]})",
            R"({"do": "event", "code": 6601, "payload": null})",
            R"({"do": "event", "code": 6601})",
            R"({"do": "rf", "hw": 1, "sw": 0})",
            R"({"do": "sim-state", "word": 255})",
            R"({"do": "fingerprint", "state": 0})",
            R"({"do": "notify", "code": 786, "w": 0, "l": 0, "from": "X"})",
            R"({"do": "call", "op": "DetatchGPRS"})",
            R"({"do": "type", "widget": "W", "in": "D", "text": "12"})",
            R"({"do": "click", "widget": "W", "in": "D", "text": "OK"})",
            R"({"do": "key", "widget": "W", "key": "Ctrl+X"})",
            R"({"do": "key", "widget": "W", "key": "Escape"})",
            R"({"do": "close", "widget": "D"})",
            R"({"do": "answer", "reply": "second"})",
            R"({"do": "answer", "reply": 65536})",
            R"({"do": "language", "lang": "de"})",
            R"({"do": "wait", "ms": 10})",
            R"({"do": "screenshot", "file": "a.png"})",
            R"({"do": "screenshot"})",
            R"({"do": "screenshot", "file": "s.png", "screen": true})",
            R"({"do": "trigger", "action": "LinkHost_ActionRadioOff"})",
            R"({"do": "quit", "comment": "done"})",
            R"({"expect": "notify", "code": 578, "to": "all", "timeout": 100})",
            R"({"expect": "msgbox", "icon": 1, "text": "x", "reply": 1024})",
            R"({"expect": "shown", "widget": "D"})",
            R"({"expect": "hidden", "widget": "D"})",
            R"({"expect": "sdk", "call": "UTPS_DevSrv_VerifyPin", "result": 0})",
            R"({"expect": "call", "op": "IsValidSim", "result": true})",
            R"({"expect": "menu", "op": "RefreshMenu"})",
            R"({"expect": "setting", "key": "Device/ProductType", "value": 2})",
            R"({"expect": "plugin", "op": "unload", "id": "p"})",
            R"({"expect": "widget", "widget": "W", "in": "D", "text": "", "enabled": true,
                "visible": true, "rows": 2, "title": "T"})",
            R"({"expect-not": "notify", "code": 579, "for": 100})",
        };
        for (const QByteArray& step : steps)
            QTest::newRow(step.constData()) << step;
    }
    void everyActionAndExpectationIsAccepted()
    {
        QFETCH(QByteArray, step);
        Scenario scenario;
        QString error;
        const QByteArray json = R"({"devices": [{}], "steps": [)" + step + "]}";
        QVERIFY2(ScenarioFile::parse(json, ScenarioFile::Replay, &scenario, &error),
                 qPrintable(error));
        QCOMPARE(scenario.steps.size(), 1);
    }

    void setupModeIgnoresSteps()
    {
        Scenario scenario;
        QString error;
        const QByteArray json = R"({"devices": [{}], "steps": [{"do": "nonsense"}]})";
        QVERIFY2(ScenarioFile::parse(json, ScenarioFile::Setup, &scenario, &error),
                 qPrintable(error));
        QCOMPARE(int(scenario.devices.size()), 1);
        QVERIFY(scenario.steps.isEmpty());
    }

    void loadNamesTheFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("bad.json"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"steps\": [}");
        file.close();
        Scenario scenario;
        QString error;
        QVERIFY(!ScenarioFile::load(path, ScenarioFile::Replay, &scenario, &error));
        QVERIFY2(error.startsWith(path + QStringLiteral(": line 1, column")), qPrintable(error));
        QVERIFY(!ScenarioFile::load(dir.filePath(QStringLiteral("missing.json")),
                                    ScenarioFile::Replay, &scenario, &error));
        QVERIFY2(error.contains(QStringLiteral("cannot read")), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestScenarioFile)
#include "tst_scenariofile.moc"
