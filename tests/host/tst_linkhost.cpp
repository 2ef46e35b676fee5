// linkhost as a child process, replaying small scenarios with no plug-in.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {
struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
    QStringList transcript;
};
} // namespace

// The record of the unplug question, quotes in the text escaped.
const char* firstBoxRecord();

class TestLinkHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("noplugins"))));
    }

    void exitCodes_data()
    {
        QTest::addColumn<QByteArray>("scenario");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("stderrParts");

        QTest::newRow("every expectation holds") << QByteArray(R"({"steps": [
                   {"expect": "shown", "widget": "LinkHost_MainWindow"},
                   {"expect": "notify", "code": 258, "to": "all"},
                   {"do": "notify", "code": 581},
                   {"expect": "notify", "code": 581},
                   {"expect": "widget", "widget": "LinkHost_NotificationList", "rows": 2},
                   {"expect": "widget", "widget": "LinkHost_DeviceLabel", "text": "Device: "}]})")
                                                 << 0 << QStringList();
        QTest::newRow("a failed expectation names the step and what was seen")
            << QByteArray(R"({"steps": [
                   {"do": "notify", "code": 578},
                   {"expect": "notify", "code": 579, "timeout": 100}]})")
            << 1
            << QStringList{"step 2 failed: {\"code\":579,\"expect\":\"notify\",\"timeout\":100}",
                           "no notify record within 100 ms", "notify broadcast 578 0 0"};
        QTest::newRow("malformed JSON names line and column")
            << QByteArray("{\n  \"steps\": [\n    {\"do\": \"quit\"\n  ]\n}") << 2
            << QStringList{"scenario.json: line 4, column", "malformed JSON"};
        QTest::newRow("unknown action names the step")
            << QByteArray(R"({"steps": [{"do": "quit"}, {"do": "jump"}]})") << 2
            << QStringList{"step 2 {\"do\":\"jump\"}: unknown action \"jump\""};
        QTest::newRow("unknown language is a bad file")
            << QByteArray(R"({"host": {"language": "xx"}, "steps": []})") << 2
            << QStringList{"no catalogue for language \"xx\""};
        QTest::newRow("expect-not fails on a later record")
            << QByteArray(R"({"steps": [
                   {"do": "notify", "code": 581},
                   {"expect-not": "notify", "code": 581, "for": 100}]})")
            << 1 << QStringList{"step 2 failed", "seen: notify broadcast 581 0 0"};
        QTest::newRow("expect-not holds for its time") << QByteArray(R"({"steps": [
                   {"do": "notify", "code": 581},
                   {"expect": "notify", "code": 581},
                   {"expect-not": "notify", "code": 581, "for": 100}]})")
                                                       << 0 << QStringList();
        QTest::newRow("cursor: a record is matched once")
            << QByteArray(R"({"steps": [
                   {"do": "notify", "code": 578},
                   {"do": "notify", "code": 579},
                   {"expect": "notify", "code": 579},
                   {"expect": "notify", "code": 578, "timeout": 100}]})")
            << 1 << QStringList{"step 4 failed", "(before the cursor)"};
        QTest::newRow("a call needs a device manager")
            << QByteArray(R"({"steps": [{"do": "call", "op": "VerifyPIN"}]})") << 1
            << QStringList{"step 1 failed", "no device manager is loaded"};
        QTest::newRow("language change is broadcast")
            << QByteArray(R"({"steps": [{"do": "language", "lang": "de"},
                   {"expect": "notify", "code": 320, "to": "all"}]})")
            << 0 << QStringList();
        QTest::newRow("missing widget names the candidates")
            << QByteArray(R"({"steps": [{"do": "type", "widget": "LinkHost_PlugButton",
                   "text": "1", "timeout": 50}]})")
            << 1
            << QStringList{"no visible line edit \"LinkHost_PlugButton\"",
                           "LinkHost_PlugButton (QPushButton) in LinkHost_MainWindow"};
    }
    void exitCodes()
    {
        QFETCH(QByteArray, scenario);
        QFETCH(int, exitCode);
        QFETCH(QStringList, stderrParts);
        const Run run = replay(scenario);
        QVERIFY2(run.exitCode == exitCode, qPrintable(run.err));
        for (const QString& part : stderrParts)
            QVERIFY2(run.err.contains(part), qPrintable(run.err));
        if (exitCode == 2)
            QVERIFY(run.transcript.isEmpty());
    }

    void transcriptLinesHaveTheirForm()
    {
        const Run run = replay(R"({"steps": [
            {"do": "notify", "code": 578, "w": 3, "l": 4},
            {"expect": "notify", "code": 578, "w": 3},
            {"do": "quit"}]})");
        QCOMPARE(run.exitCode, 0);
        const QRegularExpression form(QStringLiteral(R"(^\[(\d+)\] (\w+)(?: (.*))?$)"));
        qint64 last = 0;
        QStringList tails;
        for (const QString& line : run.transcript) {
            const QRegularExpressionMatch match = form.match(line);
            QVERIFY2(match.hasMatch(), qPrintable(line));
            QVERIFY(match.captured(1).toLongLong() >= last);
            last = match.captured(1).toLongLong();
            tails.append(line.mid(line.indexOf(QLatin1Char(']')) + 2));
        }
        const QStringList expected = {"notify broadcast 258 0 0", "notify broadcast 578 3 4",
                                      "expect ok 2 notify broadcast 578 3 4"};
        // The steps start after the frame-shown broadcast; all in this order.
        int at = -1;
        for (const QString& tail : expected) {
            const int found = tails.indexOf(tail);
            QVERIFY2(found > at, qPrintable(tails.join(QLatin1Char('\n'))));
            at = found;
        }
        QVERIFY(tails.contains(QStringLiteral("shown LinkHost_MainWindow")));
    }

    void answersReachTheMessageBox()
    {
        const Run run = replay(R"({"devices": [{"name": "Card"}], "steps": [
            {"do": "answer", "reply": "second"},
            {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect": "msgbox", "icon": 4, "text": "Unplug", "reply": 4194304},
            {"expect": "widget", "widget": "LinkHost_CardDetails", "text": ": plugged"},
            {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect": "msgbox", "reply": 1024},
            {"expect": "widget", "widget": "LinkHost_CardDetails", "text": ": unplugged"},
            {"expect": "widget", "widget": "LinkHost_UnplugButton", "enabled": false},
            {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect-not": "msgbox", "for": 100}]})");
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QStringList boxes = run.transcript.filter(QStringLiteral("] msgbox "));
        QCOMPARE(boxes.size(), 2);
        QVERIFY2(boxes.first().endsWith(QString::fromUtf8(firstBoxRecord())),
                 qPrintable(boxes.first()));
    }

    // No plug-in means no card in use: the word can be typed but not applied.
    void typedTextGoesThroughTheValidator()
    {
        const Run run = replay(R"({"devices": [{"name": "Card"}], "steps": [
            {"do": "type", "widget": "LinkHost_SimStateWord", "text": "2x5"},
            {"expect": "widget", "widget": "LinkHost_SimStateWord", "text": "25"},
            {"do": "type", "widget": "LinkHost_SimStateWord", "text": "5"},
            {"expect": "widget", "widget": "LinkHost_SimStateWord", "text": "255"},
            {"expect": "widget", "widget": "LinkHost_SimStateApply", "enabled": false}]})");
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    }

    void screenshotsOfEveryWindowAndOnRequest()
    {
        QTemporaryDir shots;
        const Run run = replay(R"({"devices": [{"name": "Card"}], "steps": [
            {"do": "wait", "ms": 400},
            {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect": "msgbox", "text": "Unplug"},
            {"do": "screenshot", "file": "asked.png"},
            {"do": "screenshot", "file": "screen.png", "screen": true}]})",
                               {QStringLiteral("--screenshots"), shots.path()});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QStringList files = QDir(shots.path()).entryList(QDir::Files, QDir::Name);
        QVERIFY2(files.contains(QStringLiteral("asked.png")), qPrintable(files.join(' ')));
        const QStringList numbered =
            files.filter(QRegularExpression(QStringLiteral(R"(^\d\d-LinkHost_MainWindow\.png$)")));
        // One shortly after it was shown, one at the end.
        QCOMPARE(numbered.size(), 2);
        const QImage window(shots.filePath(numbered.last()));
        QVERIFY(!window.isNull());
        // The screen is the main window's size; the answered box has a
        // picture of its own.
        QCOMPARE(QImage(shots.filePath(QStringLiteral("screen.png"))).size(), window.size());
        QCOMPARE(files.filter(QRegularExpression(QStringLiteral(R"(^\d\d-msgbox\.png$)"))).size(),
                 1);
    }

    void logFileIsPrivateAndTraceGoesToStderrOnlyOnRequest_data()
    {
        QTest::addColumn<bool>("trace");
        QTest::newRow("quiet") << false;
        QTest::newRow("trace") << true;
    }
    void logFileIsPrivateAndTraceGoesToStderrOnlyOnRequest()
    {
        QFETCH(bool, trace);
        QTemporaryDir userData;
        QStringList extra = {QStringLiteral("--user-data"), userData.path()};
        if (trace)
            extra.append(QStringLiteral("--trace"));
        const Run run = replay(R"({"steps": []})", extra);
        QCOMPARE(run.exitCode, 0);
        QFile log(userData.filePath(QStringLiteral("linkhost.log")));
        QVERIFY(log.exists());
        QCOMPARE(log.permissions() &
                     (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
                 QFile::Permissions());
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(log.readAll());
        const int quitting = text.indexOf(QStringLiteral("linkhost: about to quit"));
        QVERIFY2(quitting >= 0, qPrintable(text));
        QVERIFY(text.indexOf(QStringLiteral("linkhost: shut down")) > quitting);
        QCOMPARE(run.err.contains(QStringLiteral("linkhost: user data folder")), trace);
    }

    void pluginLifecycle()
    {
        const Run run = replay(R"({"steps": [
            {"expect": "setting", "key": "probe/Init"},
            {"expect": "setting", "key": "probe/ShowWindow", "value": "LinkHost_MainWindow"},
            {"expect": "setting", "key": "probe/FrameVisible", "value": true},
            {"expect": "setting", "key": "probe/Notify", "value": 258},
            {"do": "call", "op": "VerifyPIN"},
            {"expect": "setting", "key": "probe/VerifyPIN"},
            {"expect": "call", "op": "VerifyPIN", "result": 7},
            {"do": "call", "op": "GetLastUsedDeviceName"},
            {"expect": "call", "result": "Probe Card"},
            {"do": "language", "lang": "de"},
            {"expect": "setting", "key": "probe/ChangeLang", "value": "de"},
            {"expect": "setting", "key": "probe/Notify", "value": 320},
            {"do": "notify", "code": 786, "from": "CALL"},
            {"expect-not": "setting", "key": "probe/Notify", "value": 786, "for": 100},
            {"do": "notify", "code": 787},
            {"expect": "setting", "key": "probe/Notify", "value": 787}]})",
                               {QStringLiteral("--plugins"), QStringLiteral(PROBE_PLUGIN_DIR)});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QVERIFY2(run.err.isEmpty(), qPrintable(run.err));
        // Nothing reaches the plug-in before it was started, and it leaves
        // the SDK before it is destroyed, after the last step.
        const auto at = [&run](const QString& tail) {
            for (int i = 0; i < run.transcript.size(); ++i) {
                if (run.transcript.at(i).endsWith(tail))
                    return i;
            }
            return -1;
        };
        const int init = at(QStringLiteral("setting probe/Init = called"));
        const int shown = at(QStringLiteral("setting probe/ShowWindow = LinkHost_MainWindow"));
        const int frame = at(QStringLiteral("notify broadcast 258 0 0"));
        const int lastStep = at(QStringLiteral("expect ok 16 setting probe/Notify = 787"));
        const int unregister = at(QStringLiteral("setting probe/UnSDKRegisterEvent = called"));
        const int destroy = at(QStringLiteral("setting probe/OnDestroy = called"));
        QVERIFY2(init >= 0 && init < shown && shown < frame && frame < lastStep &&
                     lastStep < unregister && unregister < destroy,
                 qPrintable(run.transcript.join(QLatin1Char('\n'))));
    }

    void terminationShutsDownInOrder()
    {
        const QString file = m_dir.filePath(QStringLiteral("endless.json"));
        const QString transcript = m_dir.filePath(QStringLiteral("endless.txt"));
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
        out.write(R"({"steps": [{"expect": "menu", "op": "never", "timeout": 60000}]})");
        out.close();
        QProcess process;
        process.start(QStringLiteral(LINKHOST_PATH),
                      {QStringLiteral("--headless"), QStringLiteral("--scenario"), file,
                       QStringLiteral("--transcript"), transcript, QStringLiteral("--plugins"),
                       QStringLiteral(PROBE_PLUGIN_DIR)});
        QTRY_VERIFY_WITH_TIMEOUT(
            readLines(transcript).filter(QStringLiteral("notify broadcast 258")).size() == 1,
            20000);
        process.terminate();
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        QVERIFY2(err.contains(QStringLiteral("step 1 failed")), qPrintable(err));
        QVERIFY2(err.contains(QStringLiteral("the application quit before the scenario ended")),
                 qPrintable(err));
        const QStringList lines = readLines(transcript);
        QCOMPARE(lines.filter(QStringLiteral("setting probe/OnDestroy = called")).size(), 1);
    }

    void brokenPluginIsReportedAndTheHostGoesOn()
    {
        QTemporaryDir plugins;
        QFile broken(plugins.filePath(QStringLiteral("libBroken.so")));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("not a library");
        broken.close();
        const Run run = replay(R"({"steps": [{"expect": "notify", "code": 258}]})",
                               {QStringLiteral("--plugins"), plugins.path()});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QVERIFY2(run.err.contains(QStringLiteral("plug-in not loaded:")), qPrintable(run.err));
        QVERIFY2(run.err.contains(QStringLiteral("libBroken.so")), qPrintable(run.err));
    }

    void missingPluginFolderIsReported()
    {
        const Run run = replay(R"({"steps": []})",
                               {QStringLiteral("--plugins"), m_dir.filePath(QStringLiteral("no"))});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.err.contains(QStringLiteral("does not exist; running without plug-ins")),
                 qPrintable(run.err));
    }

    void badCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown option") << QStringList{"--frobnicate"} << "unknown option";
        QTest::newRow("missing value") << QStringList{"--scenario"} << "--scenario needs a value";
        QTest::newRow("both modes")
            << QStringList{"--scenario", "a", "--setup", "b"} << "exclude each other";
        QTest::newRow("missing file")
            << QStringList{"--scenario", "/nonexistent/s.json"} << "cannot read";
    }
    void badCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const Run run = start(QStringList{QStringLiteral("--headless")} + arguments);
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.contains(message), qPrintable(run.err));
    }

private:
    Run replay(const QByteArray& scenario, const QStringList& extra = {})
    {
        const QString file = m_dir.filePath(QStringLiteral("scenario.json"));
        const QString transcript = m_dir.filePath(QStringLiteral("transcript.txt"));
        QFile::remove(transcript);
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return Run();
        out.write(scenario);
        out.close();
        QStringList arguments = {QStringLiteral("--headless"),
                                 QStringLiteral("--scenario"),
                                 file,
                                 QStringLiteral("--transcript"),
                                 transcript,
                                 QStringLiteral("--plugins"),
                                 m_dir.filePath(QStringLiteral("noplugins"))};
        // A later --plugins wins.
        arguments += extra;
        Run run = start(arguments);
        run.transcript = readLines(transcript);
        return run;
    }

    static QStringList readLines(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    static Run start(const QStringList& arguments)
    {
        QProcess process;
        process.start(QStringLiteral(LINKHOST_PATH), arguments);
        Run run;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            run.err = QStringLiteral("linkhost did not finish");
            return run;
        }
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
        run.err = QString::fromLocal8Bit(process.readAllStandardError());
        return run;
    }

    QTemporaryDir m_dir;
};

const char* firstBoxRecord()
{
    return "msgbox icon=4 title=\"Virtual card\" text=\"Unplug \\\"Card\\\"?\" "
           "buttons=\"Unplug|Cancel\" -> 4194304";
}

QTEST_GUILESS_MAIN(TestLinkHost)
#include "tst_linkhost.moc"
