#include "CommonUtils.h"
#include "NotifyServicePlugin.h"
#include "PluginInterfaces.h"
#include "ScenarioRunner.h"
#include "Transcript.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QElapsedTimer>
#include <QIntValidator>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>

class FakeDeviceMgr : public IDeviceMgr
{
public:
    int VerifyPIN() override { return 1; }
    int EnablePIN() override { return 1; }
    int DisablePIN() override { return 0; }
    int UnlockPIN() override { return 1; }
    int ModifyPIN() override { return 1; }
    int EnableRF() override { return 15; }
    int DisableRF() override { return 0; }
    int SetOffline() override { return 0; }
    int DetatchGPRS() override { return 0; }
    void ShowChooseDevice() override { ++chooserShown; }
    bool IsDeviceAvialable() override { return true; }
    bool IsValidSim() override { return false; }
    void StartDetectDevice() override {}
    QString GetLastUsedDeviceName() override { return QStringLiteral("Card B"); }
    int chooserShown = 0;
};

// A window with the widgets the steps drive; each reaction is recorded as a
// "menu" record so that steps can wait for it.
class Form : public QWidget
{
public:
    Form()
    {
        setObjectName(QStringLiteral("Form"));
        auto* layout = new QVBoxLayout(this);
        edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("Form_Digits"));
        edit->setValidator(new QIntValidator(0, 999999, edit));
        layout->addWidget(edit);
        button =
            addButton(QStringLiteral("Form_Button"), [] { record(QStringLiteral("Clicked")); });
        disabled = addButton(QStringLiteral("Form_Disabled"),
                             [] { record(QStringLiteral("DisabledClicked")); });
        disabled->setEnabled(false);
        addButton(QStringLiteral("Form_Ask"), [this] {
            for (int i = 0; i < 3; ++i) {
                const int reply = CommonUtils::ShowMessage(
                    QMessageBox::Question, this, QStringLiteral("T"), QStringLiteral("Q"),
                    QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C"));
                record(QStringLiteral("reply %1").arg(reply));
            }
        });
        addButton(QStringLiteral("Form_Modal"), [this] {
            QDialog dialog(this);
            dialog.setObjectName(QStringLiteral("Modal"));
            auto* ok = new QPushButton(QStringLiteral("OK"), &dialog);
            ok->setObjectName(QStringLiteral("Modal_OK"));
            connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
            const int result = dialog.exec();
            record(QStringLiteral("modal %1").arg(result));
        });
        addMenu();
        // Wide, so that its middle lies far from its box and text.
        auto* check = new QCheckBox(QStringLiteral("x"), this);
        check->setObjectName(QStringLiteral("Form_Check"));
        check->setMinimumWidth(600);
        connect(check, &QCheckBox::toggled,
                [](bool on) { record(QStringLiteral("checked %1").arg(on)); });
        layout->addWidget(check);
    }

    static void record(const QString& op)
    {
        Transcript::instance().record(QStringLiteral("menu"), op);
    }

    QLineEdit* edit = nullptr;
    QPushButton* button = nullptr;
    QPushButton* disabled = nullptr;

private:
    // "Go" is always enabled, "Late" only once the menu was opened, "Grey"
    // never.
    void addMenu()
    {
        auto* menu = new QMenu(this);
        menu->setObjectName(QStringLiteral("Form_Menu"));
        const auto entry = [menu](const QString& name, const QString& text) {
            QAction* action = menu->addAction(text);
            action->setObjectName(name);
            connect(action, &QAction::triggered, [text] { record(text); });
            return action;
        };
        entry(QStringLiteral("Form_Go"), QStringLiteral("Go"));
        QAction* late = entry(QStringLiteral("Form_LateEntry"), QStringLiteral("Late"));
        late->setEnabled(false);
        connect(menu, &QMenu::aboutToShow, late, [late] { late->setEnabled(true); });
        entry(QStringLiteral("Form_Grey"), QStringLiteral("Grey"))->setEnabled(false);
    }

    template <typename F> QPushButton* addButton(const QString& name, F reaction)
    {
        auto* result = new QPushButton(name, this);
        result->setObjectName(name);
        connect(result, &QPushButton::clicked, this, reaction);
        layout()->addWidget(result);
        return result;
    }
};

class TestScenarioRunner : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Transcript::instance().clear();
        m_form = std::make_unique<Form>();
        m_form->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_form.get()));
    }
    void cleanup()
    {
        m_runner.reset();
        m_form.reset();
        m_screenshot = nullptr;
    }

    void outcomes_data()
    {
        QTest::addColumn<QByteArray>("steps");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("failure");

        QTest::newRow("a later record satisfies")
            << QByteArray(R"([{"do":"notify","code":578},{"do":"notify","code":579},
                              {"do":"notify","code":578},{"expect":"notify","code":579},
                              {"expect":"notify","code":578}])")
            << 0 << QString();
        QTest::newRow("the cursor passes the matched record")
            << QByteArray(R"([{"do":"notify","code":578},{"do":"notify","code":579},
                              {"expect":"notify","code":579},
                              {"expect":"notify","code":578,"timeout":50}])")
            << 1
            << "step 4 failed: {\"code\":578,\"expect\":\"notify\",\"timeout\":50}\n"
               "no notify record within 50 ms";
        QTest::newRow("what was seen is named")
            << QByteArray(R"([{"do":"notify","code":578},{"expect":"notify","code":578},
                              {"expect":"notify","code":578,"timeout":30}])")
            << 1 << "broadcast 578 0 0  (before the cursor)";
        QTest::newRow("expect-not fails on a record after the cursor")
            << QByteArray(R"([{"do":"notify","code":581},{"expect-not":"notify","code":581}])") << 1
            << "step 2 failed";
        QTest::newRow("expect-not ignores records before the cursor")
            << QByteArray(R"([{"do":"notify","code":581},{"expect":"notify","code":581},
                              {"expect-not":"notify","code":581,"for":30}])")
            << 0 << QString();
        QTest::newRow("expect-not leaves the cursor")
            << QByteArray(R"([{"do":"notify","code":581},{"expect-not":"notify","code":1,"for":20},
                              {"expect":"notify","code":581,"timeout":100}])")
            << 0 << QString();
        QTest::newRow("widget expectation leaves the cursor")
            << QByteArray(R"([{"do":"notify","code":581},
                              {"expect":"widget","widget":"Form_Button","enabled":true},
                              {"expect":"notify","code":581,"timeout":100}])")
            << 0 << QString();
        QTest::newRow("widget expectation names what it saw")
            << QByteArray(R"([{"expect":"widget","widget":"Form_Disabled","enabled":true,
                               "text":"Form","timeout":30}])")
            << 1 << "widget Form_Disabled: text \"Form_Disabled\", enabled false";
        QTest::newRow("rows of a widget without rows")
            << QByteArray(R"([{"expect":"widget","widget":"Form_Digits","rows":0,"timeout":20}])")
            << 1 << "no rows";
        QTest::newRow("gone counts as hidden")
            << QByteArray(R"([{"expect":"widget","widget":"Nowhere","visible":false}])") << 0
            << QString();
        QTest::newRow("quit ends the run")
            << QByteArray(R"([{"do":"quit"},{"expect":"notify","code":1}])") << 0 << QString();
        QTest::newRow("call records its result")
            << QByteArray(R"([{"do":"call","op":"EnableRF"},{"expect":"call","op":"EnableRF",
                              "result":15},{"do":"call","op":"IsValidSim"},
                              {"expect":"call","result":false},
                              {"do":"call","op":"GetLastUsedDeviceName"},
                              {"expect":"call","result":"Card B"},
                              {"do":"call","op":"ShowChooseDevice"},
                              {"expect":"call","op":"ShowChooseDevice"}])")
            << 0 << QString();
        QTest::newRow("unknown language fails the step")
            << QByteArray(R"([{"do":"language","lang":"xx"}])") << 1
            << "no catalogue for language \"xx\"";
        QTest::newRow("ambiguous widget names the candidates")
            << QByteArray(R"([{"do":"click","widget":"Twin"}])") << 1
            << "button \"Twin\" is ambiguous, 2 candidates:\n"
               "  Twin (QPushButton) in Form, text \"one\"\n"
               "  Twin (QPushButton) in Form, text \"two\"";
        QTest::newRow("missing widget fails after its wait")
            << QByteArray(R"([{"do":"click","widget":"Nowhere","timeout":30}])") << 1
            << "no visible button \"Nowhere\"";
        QTest::newRow("typing goes through the validator")
            << QByteArray(R"([{"do":"type","widget":"Form_Digits","text":"12x3"},
                              {"expect":"widget","widget":"Form_Digits","text":"123",
                               "timeout":100},
                              {"do":"type","widget":"Form_Digits","text":"4"},
                              {"expect":"widget","widget":"Form_Digits","text":"1234",
                               "timeout":100}])")
            << 0 << QString();
        QTest::newRow("typing into a button is refused")
            << QByteArray(R"([{"do":"type","widget":"Form_Button","text":"1","timeout":20}])") << 1
            << "no visible line edit \"Form_Button\"";
        QTest::newRow("a click reaches an enabled button")
            << QByteArray(R"([{"do":"click","widget":"Form_Button"},
                              {"expect":"menu","op":"Clicked","timeout":200}])")
            << 0 << QString();
        QTest::newRow("a check box reacts where a person clicks it")
            << QByteArray(R"([{"do":"click","widget":"Form_Check"},
                              {"expect":"menu","op":"checked 1","timeout":200},
                              {"do":"click","widget":"Form_Check"},
                              {"expect":"menu","op":"checked 0","timeout":200}])")
            << 0 << QString();
        QTest::newRow("a disabled button does not react")
            << QByteArray(R"([{"do":"click","widget":"Form_Disabled"},
                              {"expect-not":"menu","op":"DisabledClicked","for":50}])")
            << 0 << QString();
        QTest::newRow("queued answers, then the first button")
            << QByteArray(R"([{"do":"answer","reply":"second"},{"do":"answer","reply":"third"},
                              {"do":"click","widget":"Form_Ask"},
                              {"expect":"menu","op":"reply 4194304"},
                              {"expect":"menu","op":"reply 65536"},
                              {"expect":"menu","op":"reply 1024"}])")
            << 0 << QString();
        QTest::newRow("a number is answered as it stands")
            << QByteArray(R"([{"do":"answer","reply":42},{"do":"click","widget":"Form_Ask"},
                              {"expect":"menu","op":"reply 42"}])")
            << 0 << QString();
        QTest::newRow("steps drive a modal loop an action opened")
            << QByteArray(R"([{"do":"click","widget":"Form_Modal"},
                              {"expect":"widget","widget":"Modal","visible":true},
                              {"do":"click","widget":"Modal_OK"},
                              {"expect":"menu","op":"modal 1"}])")
            << 0 << QString();
        QTest::newRow("Escape rejects a modal dialog")
            << QByteArray(R"([{"do":"click","widget":"Form_Modal"},
                              {"do":"key","widget":"Modal_OK","key":"Escape"},
                              {"expect":"menu","op":"modal 0"}])")
            << 0 << QString();
        QTest::newRow("a menu entry is chosen")
            << QByteArray(R"([{"do":"trigger","action":"Form_Go"},
                              {"expect":"menu","op":"Go","timeout":200}])")
            << 0 << QString();
        QTest::newRow("the menu opens before its entry is chosen")
            << QByteArray(R"([{"do":"trigger","action":"Form_LateEntry"},
                              {"expect":"menu","op":"Late","timeout":200}])")
            << 0 << QString();
        QTest::newRow("a grey menu entry fails the step")
            << QByteArray(R"([{"do":"trigger","action":"Form_Grey"}])") << 1
            << "step 1 failed: {\"action\":\"Form_Grey\",\"do\":\"trigger\"}\n"
               "menu entry \"Form_Grey\" (\"Grey\") is disabled";
        QTest::newRow("a missing menu entry fails the step")
            << QByteArray(R"([{"do":"trigger","action":"Nowhere"}])") << 1
            << "no menu entry \"Nowhere\"";
        QTest::newRow("close closes the window")
            << QByteArray(R"([{"do":"click","widget":"Form_Modal"},
                              {"do":"close","widget":"Modal"},
                              {"expect":"menu","op":"modal 0"},
                              {"expect":"widget","widget":"Modal","visible":false}])")
            << 0 << QString();
    }
    void outcomes()
    {
        QFETCH(QByteArray, steps);
        QFETCH(int, exitCode);
        QFETCH(QString, failure);
        auto* one = new QPushButton(QStringLiteral("one"), m_form.get());
        auto* two = new QPushButton(QStringLiteral("two"), m_form.get());
        one->setObjectName(QStringLiteral("Twin"));
        two->setObjectName(QStringLiteral("Twin"));
        m_form->layout()->addWidget(one);
        m_form->layout()->addWidget(two);

        QVERIFY(run(steps));
        QCOMPARE(m_runner->exitCode(), exitCode);
        QVERIFY2(m_runner->failure().contains(failure), qPrintable(m_runner->failure()));
        const QStringList lines = Transcript::instance().lines();
        const QString verdict =
            exitCode == 0 ? QStringLiteral("] expect ok ") : QStringLiteral("] expect FAIL ");
        QVERIFY(exitCode != 0 || !lines.filter(QStringLiteral("expect FAIL")).size());
        QVERIFY(exitCode == 0 || lines.filter(verdict).size() == 1);
    }

    void expectNotSeesARecordThatArrivesLater()
    {
        QTimer::singleShot(60, [] { Form::record(QStringLiteral("late")); });
        QVERIFY(run(R"([{"expect-not":"menu","op":"late","for":400}])"));
        QCOMPARE(m_runner->exitCode(), 1);
    }

    void expectationWaitsForALaterRecord()
    {
        QTimer::singleShot(80, [] { Form::record(QStringLiteral("late")); });
        QElapsedTimer clock;
        clock.start();
        QVERIFY(run(R"([{"expect":"menu","op":"late","timeout":2000}])"));
        QCOMPARE(m_runner->exitCode(), 0);
        QVERIFY(clock.elapsed() >= 70);
        QVERIFY(Transcript::instance().lines().last().endsWith(
            QStringLiteral("expect ok 1 menu late")));
    }

    void widgetActionWaitsForItsWidget()
    {
        QTimer::singleShot(80, m_form.get(), [this] {
            auto* late = new QPushButton(QStringLiteral("late"), m_form.get());
            late->setObjectName(QStringLiteral("Late"));
            connect(late, &QPushButton::clicked, [] { Form::record(QStringLiteral("late")); });
            m_form->layout()->addWidget(late);
            late->show();
        });
        QVERIFY(run(R"([{"do":"click","widget":"Late"},{"expect":"menu","op":"late"}])"));
        QCOMPARE(m_runner->exitCode(), 0);
    }

    void screenshotSaysWhatToSave()
    {
        QList<std::pair<QString, bool>> asked;
        m_screenshot = [&asked](const QString& file, bool screen, QString*) {
            asked.append({file, screen});
            return true;
        };
        QVERIFY(run(R"([{"do":"screenshot","file":"a.png","screen":true},
                       {"do":"screenshot"}])"));
        QCOMPARE(m_runner->exitCode(), 0);
        const QList<std::pair<QString, bool>> expected = {{QStringLiteral("a.png"), true},
                                                          {QString(), false}};
        QCOMPARE(asked, expected);

        m_screenshot = [](const QString&, bool, QString* error) {
            *error = QStringLiteral("disk full");
            return false;
        };
        QVERIFY(run(R"([{"do":"screenshot"}])"));
        QCOMPARE(m_runner->exitCode(), 1);
        QVERIFY2(m_runner->failure().contains(QStringLiteral("screenshot failed: disk full")),
                 qPrintable(m_runner->failure()));
    }

    void notificationFromASubscribedSource()
    {
        QVERIFY(run(R"([{"do":"notify","code":786,"from":"CALL"},
                       {"expect":"notify","code":786,"from":"CALL"}])"));
        QCOMPARE(m_runner->exitCode(), 0);
        QVERIFY(Transcript::instance().lines().filter(QStringLiteral("(not subscribed)")).size());
        m_notify.Subscribe(QStringLiteral("CALL"), 786);
        Transcript::instance().clear();
        QVERIFY(run(R"([{"do":"notify","code":786,"from":"CALL"}])"));
        QVERIFY(
            Transcript::instance().lines().filter(QStringLiteral("(not subscribed)")).isEmpty());
    }

private:
    bool run(const QByteArray& steps)
    {
        Scenario scenario;
        QString error;
        if (!ScenarioFile::parse("{\"steps\": " + steps + "}", ScenarioFile::Replay, &scenario,
                                 &error)) {
            qWarning("%s", qPrintable(error));
            return false;
        }
        RunnerHooks hooks;
        hooks.deviceManager = [this] { return &m_manager; };
        hooks.notifyService = [this] { return &m_notify; };
        hooks.changeLanguage = [](const QString& lang) { return lang == QLatin1String("de"); };
        hooks.screenshot = m_screenshot;
        m_runner = std::make_unique<ScenarioRunner>(scenario.steps, hooks);
        m_runner->installResponder();
        QSignalSpy finished(m_runner.get(), &ScenarioRunner::finished);
        // A run that fails while a dialog's own loop runs must not leave the
        // test inside that loop.
        connect(m_runner.get(), &ScenarioRunner::finished, this, [] {
            for (QWidget* window : QApplication::topLevelWidgets()) {
                if (window->isModal() && window->isVisible())
                    window->close();
            }
        });
        m_runner->start();
        if (!finished.wait(10000) && finished.isEmpty())
            return false;
        return finished.first().first().toInt() == m_runner->exitCode();
    }

    FakeDeviceMgr m_manager;
    NotifyServicePlugin m_notify;
    std::function<bool(const QString&, bool, QString*)> m_screenshot;
    std::unique_ptr<Form> m_form;
    std::unique_ptr<ScenarioRunner> m_runner;
};

QTEST_MAIN(TestScenarioRunner)
#include "tst_scenariorunner.moc"
