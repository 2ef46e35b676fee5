#include "ScenarioFile.h"

#include <DeviceMgrContract.h>
#include <utps.h>

#include <QTest>

class TestScenarioFile : public QObject
{
    Q_OBJECT
private slots:
    // Every field of devices and host, and the step forms that no scenario
    // under tests/scenarios plays.
    void goodFile()
    {
        const QByteArray json = R"({
            "devices": [ { "name": "A", "plugged": false,
                           "sim": { "pin": "0000", "pinEnabled": true, "pinRetries": 1 },
                           "rf": { "hw": 0 }, "fingerprint": true }, {} ],
            "host": { "language": "de", "wwanReadyAfter": 3, "eventGapMs": 300,
                      "settings": { "Device/ProductType": 2 },
                      "faults": [ { "function": "UTPS_DevSrv_VerifyPin", "result": 5 } ] },
            "steps": [
                {"do": "event", "code": "UTPS_EVENT_DEV_DETECTED", "payload": "devices"}, {"do": "answer", "reply": 65536},
                {"do": "notify", "code": "NTF_CALL_CONNECTED", "w": 0, "l": 0, "from": "X"},
                {"do": "screenshot", "file": "s.png", "screen": true},
                {"do": "trigger", "action": "X"}, {"expect": "msgbox", "text": "x", "reply": 1024},
                {"expect": "widget", "widget": "W", "in": "D", "text": "", "visible": true},
                {"expect-not": "notify", "code": "NTF_SIM_NOT_READY", "for": 100}, {"do": "quit", "comment": "done"} ]
        })";
        Scenario scenario;
        QString error;
        QVERIFY2(ScenarioFile::parse(json, ScenarioFile::Replay, &scenario, &error),
                 qPrintable(error));
        const sim::CardConfig& first = scenario.devices.at(0);
        QVERIFY(!first.plugged && first.sim.pinEnabled && first.fingerprint);
        QVERIFY(first.sim.pin == "0000" && first.sim.pinRetries == 1);
        QCOMPARE(first.sim.puk, sim::SimConfig().puk); // what a file leaves out keeps its default
        QVERIFY(scenario.devices.size() == 2 && scenario.devices.at(1).plugged);
        const ScenarioHost& host = scenario.host;
        QCOMPARE(host.language + " " + QString::number(host.eventGapMs), "de 300");
        QCOMPARE(host.settings.value(0), qMakePair(QString("Device/ProductType"), QString("2")));
        QVERIFY(host.faults.value(0).result == 5 && host.faults.value(0).times == 1);
        QCOMPARE(scenario.steps.size(), 9);
        const ScenarioStep& last = scenario.steps.last();
        QVERIFY(!last.expectation && last.number == 9 && last.name == "quit");
        QVERIFY(scenario.steps.at(7).negated);
        // A code's name becomes its number; messages quote the step as written.
        const ScenarioStep& event = scenario.steps.at(0);
        QCOMPARE(event.json.value("code").toInt(), UTPS_EVENT_DEV_DETECTED);
        QVERIFY(event.text().contains("\"UTPS_EVENT_DEV_DETECTED\""));
        QCOMPARE(scenario.steps.at(7).json.value("code").toInt(), int(NTF_SIM_NOT_READY));
    }
    void badFilesAreRefused_data()
    {
        QTest::addColumn<QString>("json");
        QTest::addColumn<QString>("message");
        // clang-format off
        QTest::newRow("malformed JSON names line and column") << "{\n  \"steps\": [\n    { \"do\": \"quit\" }\n    { }\n  ]\n}" << "line 4, column 7: malformed JSON: missing value separator";
        QTest::newRow("steps missing") << "{}" << "missing required field \"steps\"";
        QTest::newRow("unknown expectation kind") << R"({"steps": [{"expect": "notfy", "code": 1}]})" << R"(step 1 {"code":1,"expect":"notfy"}: unknown expectation kind "notfy")";
        QTest::newRow("missing required field") << R"({"steps": [{"do": "type", "widget": "X"}]})" << R"(step 1 {"do":"type","widget":"X"}: missing required field "text")";
        QTest::newRow("misspelt field") << R"({"steps": [{"expect": "notify", "cod": 1}]})" << R"(unknown field "cod")";
        QTest::newRow("fraction where an integer belongs") << R"({"steps": [{"do": "wait", "ms": 1.5}]})" << R"("ms" must be an integer)";
        QTest::newRow("device index out of range") << R"({"devices": [{}], "steps": [{"do": "unplug", "device": 1}]})" << R"("device" 1 is not one of the 1 devices)";
        QTest::newRow("unknown operation") << R"({"steps": [{"do": "call", "op": "DetachGPRS"}]})" << R"("op" is not an IDeviceMgr operation)";
        QTest::newRow("misspelt device field") << R"({"devices": [{"sim": {"pinEnable": true}}], "steps": []})" << R"(devices[0].sim: unknown field "pinEnable")";
        QTest::newRow("fault without function") << R"({"host": {"faults": [{"result": 1}]}, "steps": []})" << R"(host.faults[0]: missing required field "function")";
        // clang-format on
    }
    void badFilesAreRefused()
    {
        QFETCH(QString, json);
        QFETCH(QString, message);
        Scenario scenario;
        QString error;
        QVERIFY(!ScenarioFile::parse(json.toUtf8(), ScenarioFile::Replay, &scenario, &error));
        QVERIFY2(error.contains(message), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestScenarioFile)
#include "tst_scenariofile.moc"
