// linkhost as a child process, replaying small scenarios with the probe plug-in.
#include <DeviceMgrContract.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {
struct Run
{
    int exitCode = -1;
    QString err;
    QStringList transcript;
};

QStringList readLines(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

// The index of the first line from `from` on that contains `part`, or -1.
int find(const QStringList& lines, const QString& part, int from = 0)
{
    while (from < lines.size() && !lines.at(from).contains(part))
        ++from;
    return from < lines.size() ? from : -1;
}

// A broadcast notification as the transcript records it.
QString broadcast(unsigned int code, int w = 0, int l = 0)
{
    return QStringLiteral("broadcast %1 %2 %3").arg(code).arg(w).arg(l);
}

// What linkhost writes may hold PINs: only its owner may read it.
bool ownerOnly(const QFile& file)
{
    return !(file.permissions() &
             ~(QFile::ReadUser | QFile::WriteUser | QFile::ReadOwner | QFile::WriteOwner));
}
} // namespace

class TestLinkHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // Where a host with the modemmanager backend looks for the daemon: nowhere.
        qputenv("UTPS_MM_BUS", "unix:path=/nonexistent/linkmarrow-test-bus");
        QVERIFY(m_dir.isValid() && QDir().mkpath(m_dir.filePath("broken")));
        QFile broken(m_dir.filePath("broken/libBroken.so"));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("not a library");
    }

    void scenarios_data()
    {
        QTest::addColumn<QByteArray>("scenario");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QStringList>("stderrParts");
        QTest::addColumn<QStringList>("records"); // parts of lines, in this order

        row("plug-in started, told, asked and shut down in order; text tells twins apart",
            R"({"steps": [
            {"do": "notify", "code": "NTF_SIM_READY", "w": 3, "l": 4},
            {"expect": "notify", "code": "NTF_SIM_READY", "w": 3},
            {"do": "call", "op": "VerifyPIN"}, {"expect": "call", "op": "VerifyPIN", "result": 7},
            {"do": "click", "widget": "Probe_Twin", "text": "two"},
            {"expect": "setting", "key": "probe/Twin", "value": "two"},
            {"do": "language", "lang": "de"},
            {"expect": "setting", "key": "probe/ChangeLang", "value": "de"},
            {"expect": "notify", "code": "NTF_LANGUAGE_CHANGED", "to": "all"}]})",
            0, {},
            {"setting probe/Init = called", "setting probe/ShowWindow = LinkHost_MainWindow",
             "shown LinkHost_MainWindow", "notify " + broadcast(NTF_FRAME_SHOWN),
             QString("setting probe/Notify = %1").arg(NTF_FRAME_SHOWN),
             "notify " + broadcast(NTF_SIM_READY, 3, 4), "setting probe/VerifyPIN = called",
             "call VerifyPIN = 7", "setting probe/Twin = two",
             "expect ok 9 notify " + broadcast(NTF_LANGUAGE_CHANGED),
             "setting probe/UnSDKRegisterEvent = called", "setting probe/OnDestroy = called"});
        row("failed expectation names the step and what was seen", R"({"steps": [
            {"do": "notify", "code": "NTF_SIM_READY"},
            {"expect": "notify", "code": "NTF_SIM_NOT_READY", "timeout": 100}]})",
            1,
            {"step 2 failed: "
             "{\"code\":\"NTF_SIM_NOT_READY\",\"expect\":\"notify\",\"timeout\":100}",
             "no notify record within 100 ms", "notify " + broadcast(NTF_SIM_READY)},
            {"expect FAIL 2", "setting probe/OnDestroy = called"});
        row("malformed JSON names line and column",
            "{\n  \"steps\": [\n    {\"do\": \"quit\"\n  ]\n}", 2,
            {"scenario.json: line 4, column", "malformed JSON"});
        row("unknown action", R"({"steps": [{"do": "quit"}, {"do": "jump"}]})", 2,
            {"step 2 {\"do\":\"jump\"}: unknown action \"jump\""});
        row("ambiguous widget names the candidates",
            R"({"steps": [{"do": "click", "widget": "Probe_Twin"}]})", 1,
            {"button \"Probe_Twin\" is ambiguous, 2 candidates:",
             "Probe_Twin (QPushButton) in LinkHost_MainWindow, text \"one\"",
             "Probe_Twin (QPushButton) in LinkHost_MainWindow, text \"two\""});
        row("expect-not fails on a later record",
            R"({"steps": [{"do": "notify", "code": "NTF_DEVICE_INIT_SUCCESS"},
            {"expect-not": "notify", "code": "NTF_DEVICE_INIT_SUCCESS", "for": 100}]})",
            1, {"step 2 failed", "notify " + broadcast(NTF_DEVICE_INIT_SUCCESS)});
        row("a misspelt code name", R"({"steps": [{"expect": "notify", "code": "NTF_SIM_REDY"}]})",
            2, {"step 1 {\"code\":\"NTF_SIM_REDY\",\"expect\":\"notify\"}: unknown code name"});
        row("cursor: a record is matched once", R"({"steps": [
            {"do": "notify", "code": "NTF_SIM_READY"}, {"do": "notify", "code": "NTF_SIM_NOT_READY"},
            {"expect": "notify", "code": "NTF_SIM_NOT_READY"},
            {"expect": "notify", "code": "NTF_SIM_READY", "timeout": 100}]})",
            1, {"step 4 failed", "(before the cursor)"});
        row("panel: typing through the validator, answers to the box, a disabled button",
            R"({"devices": [{"name": "Card"}], "steps": [
            {"do": "type", "widget": "LinkHost_SimStateWord", "text": "2x5"},
            {"expect": "widget", "widget": "LinkHost_SimStateWord", "text": "25"},
            {"do": "type", "widget": "LinkHost_SimStateWord", "text": "5"},
            {"expect": "widget", "widget": "LinkHost_SimStateWord", "text": "255"},
            {"do": "answer", "reply": "second"}, {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect": "msgbox", "icon": 4, "reply": 4194304},
            {"expect": "widget", "widget": "LinkHost_CardDetails", "text": ": plugged"},
            {"do": "click", "widget": "LinkHost_UnplugButton"}, {"expect": "msgbox", "reply": 1024},
            {"expect": "widget", "widget": "LinkHost_UnplugButton", "enabled": false},
            {"do": "click", "widget": "LinkHost_UnplugButton"}, {"expect-not": "msgbox", "for": 100}]})",
            0, {},
            {"expect ok 4 ",
             "] msgbox icon=4 title=\"Virtual card\" text=\"Unplug \\\"Card\\\"?\" "
             "buttons=\"Unplug|Cancel\" -> 4194304",
             "Unplug|Cancel\" -> 1024", "expect ok 13 "});
        row("broken plug-in library",
            R"({"steps": [{"expect": "notify", "code": "NTF_FRAME_SHOWN"}]})", 0,
            {"plug-in not loaded:", "libBroken.so"}, {"expect ok 1"},
            {"--plugins", m_dir.filePath("broken")});
        row("missing plug-in folder", R"({"steps": []})", 0,
            {"does not exist; running without plug-ins"}, {"notify " + broadcast(NTF_FRAME_SHOWN)},
            {"--plugins", m_dir.filePath("none")});
        row("--hidden without a tray: the window shows after a wait for one, and that is said",
            R"({"steps": [
            {"expect": "widget", "widget": "LinkHost_MainWindow", "visible": false, "timeout": 100},
            {"expect": "widget", "widget": "LinkHost_MainWindow", "visible": true, "timeout": 9000}]})",
            0, {"no system tray on this desktop: showing the window instead"}, {"expect ok 2"},
            {"--hidden"});
        row("unknown option", R"({"steps": []})", 2, {"unknown option"}, {}, {"--frobnicate"});
        row("unknown backend", R"({"steps": []})", 2, {"unknown backend \"bogus\""}, {},
            {"--backend", "bogus"});
        row("virtual cards need the virtual card",
            R"({"devices": [{"name": "Card"}], "steps": []})", 2,
            {"the scenario's devices are virtual cards: they need the sim backend"}, {},
            {"--backend", "modemmanager"});
        row("no ModemManager to reach: said in the window, no device, no crash", R"({"steps": [
            {"expect": "widget", "widget": "LinkHost_BackendLabel",
             "text": "Devices from: cannot reach the bus at unix:path=/nonexistent/"},
            {"expect": "widget", "widget": "LinkHost_DeviceLabel", "text": "Device: none"},
            {"expect": "widget", "widget": "LinkHost_SimStateWord", "visible": false}]})",
            0, {}, {"expect ok 3 "}, {"--backend", "modemmanager"});
        // The main window asks for the device name on each NTF_DEVICE_INIT_SUCCESS.
        row("--fault: every call fails, whatever the backend, over the scenario's own fault",
            R"({"host": {"faults": [{"function": "UTPS_DevSrv_GetDeviceName", "result": 5}]},
            "steps": [{"do": "notify", "code": "NTF_DEVICE_INIT_SUCCESS"},
            {"do": "notify", "code": "NTF_DEVICE_INIT_SUCCESS"},
            {"expect": "sdk", "call": "UTPS_DevSrv_GetDeviceName", "result": -559038737},
            {"expect": "sdk", "call": "UTPS_DevSrv_GetDeviceName", "result": -559038737}]})",
            0, {}, {"expect ok 4 "},
            {"--backend", "modemmanager", "--fault", "UTPS_DevSrv_GetDeviceName=-559038737"});
        row("--expect-timeout caps both kinds of expectation", R"({"steps": [
            {"expect-not": "notify", "code": "NTF_SIM_NOT_READY", "for": 60000},
            {"expect": "notify", "code": "NTF_SIM_NOT_READY", "timeout": 60000}]})",
            1, {"step 2 failed", "no notify record within 100 ms"}, {"for 100 ms"},
            {"--expect-timeout", "100"});
        row("--fault without a result", R"({"steps": []})", 2,
            {"--fault needs FUNCTION=RESULT", "\"UTPS_DevSrv_GetPinStatus\""}, {},
            {"--fault", "UTPS_DevSrv_GetPinStatus"});
        row("--fault with a result that is no number", R"({"steps": []})", 2,
            {"--fault needs FUNCTION=RESULT", "\"UTPS_DevSrv_GetPinStatus=fail\""}, {},
            {"--fault=UTPS_DevSrv_GetPinStatus=fail"});
        row("--expect-timeout below zero", R"({"steps": []})", 2,
            {"--expect-timeout needs milliseconds", "\"-5\""}, {}, {"--expect-timeout", "-5"});
    }

    void scenarios()
    {
        QFETCH(QByteArray, scenario);
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QStringList, stderrParts);
        QFETCH(QStringList, records);
        const Run run = replay(scenario, options);
        QVERIFY2(run.exitCode == exitCode, qPrintable(run.err));
        for (const QString& part : stderrParts)
            QVERIFY2(run.err.contains(part), qPrintable(run.err));
        if (stderrParts.isEmpty()) // quiet unless asked to trace
            QVERIFY2(run.err.isEmpty(), qPrintable(run.err));
        if (exitCode == 2)
            QVERIFY(run.transcript.isEmpty());
        else
            QVERIFY(ownerOnly(QFile(m_dir.filePath("transcript.txt"))));
        const QString all = run.transcript.join('\n');
        int at = -1;
        for (const QString& record : records) {
            at = find(run.transcript, record, at + 1);
            QVERIFY2(at >= 0, qPrintable(record + " not in order in:\n" + all));
        }
        const QRegularExpression form(R"(^\[(\d+)\] [a-z]+( .*)?$)");
        qint64 last = 0;
        for (const QString& line : run.transcript) {
            const QRegularExpressionMatch match = form.match(line);
            QVERIFY2(match.hasMatch() && match.captured(1).toLongLong() >= last, qPrintable(all));
            last = match.captured(1).toLongLong();
        }
    }

    void logFileIsPrivateAndTracedOnRequest()
    {
        QTemporaryDir userData;
        const Run run = replay(R"({"steps": []})", {"--user-data", userData.path(), "--trace"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.err.contains("linkhost: user data folder"), qPrintable(run.err));
        QFile log(userData.filePath("linkhost.log"));
        QVERIFY(log.open(QIODevice::ReadOnly) && ownerOnly(log));
        QVERIFY(QString::fromUtf8(log.readAll()).contains("linkhost: shut down"));
    }

    void screenshotsOfEveryWindowAndOnRequest()
    {
        QTemporaryDir shots;
        const Run run = replay(R"({"devices": [{"name": "Card"}], "steps": [
            {"do": "wait", "ms": 400}, {"do": "click", "widget": "LinkHost_UnplugButton"},
            {"expect": "msgbox", "text": "Unplug"}, {"do": "screenshot", "file": "asked.png"}]})",
                               {"--screenshots", shots.path()});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QStringList files = QDir(shots.path()).entryList(QDir::Files, QDir::Name);
        QVERIFY2(!QImage(shots.filePath("asked.png")).isNull(), qPrintable(files.join(' ')));
        // The main window shortly after it was shown and at the end; the box once.
        const QStringList windows =
            files.filter(QRegularExpression(R"(^\d\d-LinkHost_MainWindow\.png$)"));
        QCOMPARE(windows.size(), 2);
        QVERIFY(!QImage(shots.filePath(windows.last())).isNull());
        QCOMPARE(files.filter(QRegularExpression(R"(^\d\d-msgbox\.png$)")).size(), 1);
    }

    // SIGTERM and SIGINT end the host as a quit would: the scenario is cut
    // short, the plug-ins are destroyed, and the log holds every line up to
    // the last one.
    void terminationShutsDownInOrder_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
    }
    void terminationShutsDownInOrder()
    {
        QFETCH(int, signal);
        const QString transcript = m_dir.filePath("endless.txt");
        QTemporaryDir userData;
        QProcess process;
        process.start(LINKHOST_PATH, arguments(R"({"steps": [
            {"expect": "menu", "op": "never", "timeout": 60000}]})",
                                               transcript) +
                                         QStringList{"--user-data", userData.path()});
        QTRY_VERIFY_WITH_TIMEOUT(find(readLines(transcript), broadcast(NTF_FRAME_SHOWN)) >= 0,
                                 20000);
        QCOMPARE(::kill(pid_t(process.processId()), signal), 0);
        QVERIFY(process.waitForFinished(20000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        QVERIFY(QString::fromLocal8Bit(process.readAllStandardError())
                    .contains("the application quit before the scenario ended"));
        QVERIFY(find(readLines(transcript), "probe/OnDestroy = called") >= 0);
        const QStringList log = readLines(userData.filePath("linkhost.log"));
        QVERIFY(find(log, QString("linkhost: quitting on signal %1").arg(signal)) >= 0);
        QVERIFY2(!log.isEmpty() && log.last().contains("linkhost: shut down"),
                 qPrintable(log.join('\n')));
    }

    // One host per user: a second one shows the first and leaves; a replay
    // runs beside it; a socket left by a crash is taken over, and said so.
    void oneHostPerUser()
    {
        QTemporaryDir runtime, userData;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_RUNTIME_DIR", runtime.path());
        const QString socket = runtime.filePath("linkhost.socket");
        const QStringList interactive = {"--headless", "--user-data", userData.path(), "--plugins",
                                         PROBE_PLUGIN_DIR};
        QString err;
        const auto start = [&](QProcess& process, const QStringList& options) {
            process.setProcessEnvironment(environment);
            connect(&process, &QProcess::readyReadStandardError, &process,
                    [&] { err += QString::fromLocal8Bit(process.readAllStandardError()); });
            process.start(LINKHOST_PATH, options);
        };
        const auto runToEnd = [&](const QStringList& options) {
            QProcess process;
            start(process, options);
            return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit
                       ? process.exitCode()
                       : -1;
        };

        QProcess first;
        start(first, interactive);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(socket), 20000);
        QCOMPARE(runToEnd(interactive), 0);
        QVERIFY2(err.contains("already running; its window was asked to show itself"),
                 qPrintable(err));
        QTRY_VERIFY(find(readLines(userData.filePath("linkhost.log")),
                         "shown at the request of another linkhost") >= 0);
        QCOMPARE(runToEnd(arguments(R"({"steps": []})", m_dir.filePath("beside.txt"))), 0);

        QCOMPARE(::kill(pid_t(first.processId()), SIGKILL), 0);
        QVERIFY(first.waitForFinished(20000));
        QVERIFY(QFileInfo::exists(socket));
        err.clear();
        QProcess third;
        start(third, interactive);
        QTRY_VERIFY_WITH_TIMEOUT(err.contains("left by a linkhost that ended without closing it"),
                                 20000);
        QCOMPARE(runToEnd(interactive), 0); // the third is the one now
        QVERIFY2(err.contains("already running"), qPrintable(err));
        third.terminate();
        QVERIFY(third.waitForFinished(20000));
        QCOMPARE(third.exitStatus(), QProcess::NormalExit);
    }

private:
    static void row(const char* name, const char* scenario, int exitCode,
                    const QStringList& stderrParts = {}, const QStringList& records = {},
                    const QStringList& options = {})
    {
        QTest::newRow(name) << QByteArray(scenario) << options << exitCode << stderrParts
                            << records;
    }

    // A later --plugins wins over the probe's folder.
    QStringList arguments(const QByteArray& scenario, const QString& transcript)
    {
        const QString file = m_dir.filePath("scenario.json");
        QFile::remove(transcript);
        QFile out(file);
        if (out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            out.write(scenario);
        return {"--headless", "--scenario",    file, "--transcript", transcript,
                "--plugins",  PROBE_PLUGIN_DIR};
    }

    Run replay(const QByteArray& scenario, const QStringList& options)
    {
        const QString transcript = m_dir.filePath("transcript.txt");
        QProcess process;
        process.start(LINKHOST_PATH, arguments(scenario, transcript) + options);
        if (!process.waitForFinished(60000))
            process.kill();
        process.waitForFinished();
        const bool normal = process.exitStatus() == QProcess::NormalExit;
        return {normal ? process.exitCode() : -1,
                QString::fromLocal8Bit(process.readAllStandardError()), readLines(transcript)};
    }

    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestLinkHost)
#include "tst_linkhost.moc"
