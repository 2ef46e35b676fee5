#include "ScenarioFile.h"

#include <QTest>

class TestScenarioFile : public QObject
{
    Q_OBJECT
private slots:
    void goodFileWithEveryAction()
    {
        const QByteArray json = R"({
            "devices": [ { "name": "A", "plugged": false,
                           "sim": { "pin": "0000", "pinEnabled": true, "pinRetries": 1 },
                           "rf": { "hw": 0 }, "fingerprint": true }, {} ],
            "host": { "language": "de", "wwanReadyAfter": 3, "eventGapMs": 300,
                      "settings": { "Device/ProductType": 2 },
                      "faults": [ { "function": "UTPS_DevSrv_VerifyPin", "result": 5 } ] },
            "steps": [
                {"do": "plug", "device": 1}, {"do": "unplug", "device": 0},
                {"do": "event", "code": 6606, "payload": "devices"},
                {"do": "event", "code": 6619, "payload": [1]},
                {"do": "event", "code": 6601, "payload": null},
                {"do": "rf", "hw": 1, "sw": 0}, {"do": "sim-state", "word": 255},
                {"do": "fingerprint", "state": 0},
                {"do": "notify", "code": 786, "w": 0, "l": 0, "from": "X"},
                {"do": "call", "op": "DetatchGPRS"},
                {"do": "type", "widget": "W", "in": "D", "text": "12"},
                {"do": "click", "widget": "W", "text": "OK"},
                {"do": "key", "widget": "W", "key": "Ctrl+X"}, {"do": "close", "widget": "D"},
                {"do": "answer", "reply": "second"}, {"do": "answer", "reply": 65536},
                {"do": "language", "lang": "de"}, {"do": "wait", "ms": 10},
                {"do": "screenshot", "file": "s.png", "screen": true},
                {"do": "trigger", "action": "LinkHost_ActionRadioOff"},
                {"expect": "notify", "code": 578, "to": "all", "timeout": 100},
                {"expect": "msgbox", "icon": 1, "text": "x", "reply": 1024},
                {"expect": "shown", "widget": "D"}, {"expect": "hidden", "widget": "D"},
                {"expect": "sdk", "call": "UTPS_DevSrv_VerifyPin", "result": 0},
                {"expect": "call", "op": "IsValidSim", "result": true},
                {"expect": "menu", "op": "RefreshMenu"},
                {"expect": "setting", "key": "Device/ProductType", "value": 2},
                {"expect": "plugin", "op": "unload", "id": "p"},
                {"expect": "widget", "widget": "W", "in": "D", "text": "", "enabled": true,
                 "visible": true, "rows": 2, "title": "T"},
                {"expect-not": "notify", "code": 579, "for": 100},
                {"do": "quit", "comment": "done"} ]
        })";
        Scenario scenario;
        QString error;
        QVERIFY2(ScenarioFile::parse(json, ScenarioFile::Replay, &scenario, &error),
                 qPrintable(error));
        const sim::CardConfig& first = scenario.devices.at(0);
        QVERIFY(!first.plugged && first.sim.pinEnabled && first.fingerprint);
        QCOMPARE(first.sim.pin, std::string("0000"));
        QCOMPARE(first.sim.pinRetries, 1);
        QCOMPARE(first.sim.puk, sim::SimConfig().puk);
        QVERIFY(scenario.devices.size() == 2 && scenario.devices.at(1).plugged);
        QCOMPARE(scenario.host.language, QStringLiteral("de"));
        QCOMPARE(scenario.host.eventGapMs, 300);
        QCOMPARE(scenario.host.settings.value(0),
                 qMakePair(QStringLiteral("Device/ProductType"), QStringLiteral("2")));
        QCOMPARE(scenario.host.faults.value(0).result, 5);
        QCOMPARE(scenario.host.faults.value(0).times, 1);
        QCOMPARE(scenario.steps.size(), 32);
        const ScenarioStep& last = scenario.steps.last();
        QVERIFY(!last.expectation);
        QCOMPARE(last.number, 32);
        QCOMPARE(last.name, QStringLiteral("quit"));
        QVERIFY(scenario.steps.at(30).negated);
    }

    void badFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");
        const auto bad = [](const char* name, const char* json, const char* message) {
            QTest::newRow(name) << QByteArray(json) << QString::fromUtf8(message);
        };
        bad("malformed JSON names line and column",
            "{\n  \"steps\": [\n    { \"do\": \"quit\" }\n    { }\n  ]\n}",
            "line 4, column 7: malformed JSON: missing value separator");
        bad("steps missing", "{}", "missing required field \"steps\"");
        bad("unknown expectation kind", R"({"steps": [{"expect": "notfy", "code": 1}]})",
            R"(step 1 {"code":1,"expect":"notfy"}: unknown expectation kind "notfy")");
        bad("missing required field", R"({"steps": [{"do": "type", "widget": "X"}]})",
            R"(step 1 {"do":"type","widget":"X"}: missing required field "text")");
        bad("misspelt field", R"({"steps": [{"expect": "notify", "cod": 578}]})",
            R"(unknown field "cod")");
        bad("fraction where an integer belongs", R"({"steps": [{"do": "wait", "ms": 1.5}]})",
            R"("ms" must be an integer)");
        bad("device index out of range",
            R"({"devices": [{}], "steps": [{"do": "unplug", "device": 1}]})",
            R"("device" 1 is not one of the 1 devices)");
        bad("unknown operation", R"({"steps": [{"do": "call", "op": "DetachGPRS"}]})",
            R"("op" is not an IDeviceMgr operation)");
        bad("misspelt device field", R"({"devices": [{"sim": {"pinEnable": true}}], "steps": []})",
            R"(devices[0].sim: unknown field "pinEnable")");
        bad("fault without function", R"({"host": {"faults": [{"result": 1}]}, "steps": []})",
            R"(host.faults[0]: missing required field "function")");
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
};

QTEST_GUILESS_MAIN(TestScenarioFile)
#include "tst_scenariofile.moc"
