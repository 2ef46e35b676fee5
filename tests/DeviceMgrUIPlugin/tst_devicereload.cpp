// Confirming a card in the chooser, and the exchange of the host's
// device-specific plug-ins: who is asked, what is switched, and the order of
// broadcast, unregistering and reloading.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "PluginContainer.h"
#include "TraceCapture.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <CommonUtils.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTest>

#include <memory>

namespace {

// A plug-in of the same process: reads both lists of notification 585
// through the addresses it carries, while the notification is delivered.
class ReloadListener : public QObject, public INotify
{
    Q_OBJECT
    Q_INTERFACES(INotify)
public:
    explicit ReloadListener(QStringList* sequence) : m_sequence(sequence) {}

    int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam) override
    {
        if (type != NTF_PLUGINS_RELOADING)
            return 0;
        const auto* changed = reinterpret_cast<const QStringList*>(wParam);
        const auto* unload = reinterpret_cast<const QStringList*>(lParam);
        lastW = wParam;
        lastL = lParam;
        m_sequence->append(
            QStringLiteral("585 changed=%1 unload=%2")
                .arg(changed->join(QLatin1Char(',')), unload->join(QLatin1Char(','))));
        return 0;
    }

    NotifyParam lastW = 0;
    NotifyParam lastL = 0;

private:
    QStringList* m_sequence;
};

sim::CardConfig card(const char* name, int port, int productType = 2)
{
    sim::CardConfig config;
    config.name = name;
    config.port = port;
    config.productType = productType;
    return config;
}

QJsonObject jsonMap(const char* text)
{
    return QJsonDocument::fromJson(QByteArray(text)).object();
}

int countCalls(const std::vector<sim::CallRecord>& log, const char* function)
{
    int count = 0;
    for (const sim::CallRecord& call : log)
        count += call.function == function ? 1 : 0;
    return count;
}

QStringList broadcasts585(const QStringList& notifyRecords)
{
    return notifyRecords.filter(QRegularExpression(QStringLiteral("^broadcast 585 ")));
}

} // namespace

class TestDeviceReload : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void firstChoiceSwitchesWithoutAsking_data();
    void firstChoiceSwitchesWithoutAsking();
    void choosingTheCardInUseChangesNothing();
    void choosingAnotherCardAsksFirst_data();
    void choosingAnotherCardAsksFirst();
    void reloadSequence_data();
    void reloadSequence();
    void reloadSurvivesAMissingNotifier_data();
    void reloadSurvivesAMissingNotifier();
    void reloadWithoutContainerDoesNothing();
    void traceLinesKeepTheirShape_data();
    void traceLinesKeepTheirShape();

private:
    void startWithTwoCards(int firstType, int secondType);
    // Shows the chooser and makes `row` the chosen one, as a click does.
    QTableWidget* chooseRow(int row);
    QPushButton* okButton();

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<ChooseDevice> m_chooser;
    QStringList m_sequence;
};

void TestDeviceReload::init()
{
    m_host = std::make_unique<HostFixture>();
    QVERIFY(Change::SetLanguage(QStringLiteral("keys")));
    m_chooser = std::make_unique<ChooseDevice>();
    m_sequence.clear();
    connect(&m_host->container(), &PluginContainer::pluginOperation, this,
            [this](const QString& op, const QString& id) {
                m_sequence.append(op + QLatin1Char(' ') + id);
            });
}

void TestDeviceReload::cleanup()
{
    m_chooser.reset();
    m_host.reset();
}

void TestDeviceReload::startWithTwoCards(int firstType, int secondType)
{
    m_host->card().addCard(card("Card A", 3, firstType));
    m_host->card().addCard(card("Card B", 4, secondType));
    m_host->startService();
    QVERIFY(m_host->waitForEvents());
    QCOMPARE(m_host->card().currentCard(), 0);
}

QTableWidget* TestDeviceReload::chooseRow(int row)
{
    m_chooser->ShowChooseDlg(m_host->mainWindow());
    QTableWidget* table = m_chooser->table();
    if (!table || !QTest::qWaitForWindowExposed(m_chooser->dialog()))
        return nullptr;
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                      table->visualItemRect(table->item(row, 1)).center());
    return table->currentRow() == row ? table : nullptr;
}

QPushButton* TestDeviceReload::okButton()
{
    return m_chooser->dialog()->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonOk"));
}

void TestDeviceReload::firstChoiceSwitchesWithoutAsking_data()
{
    QTest::addColumn<int>("typeInUse");
    QTest::addColumn<int>("typeChosen");
    QTest::addColumn<bool>("forced");
    QTest::newRow("same product type") << 2 << 2 << false;
    QTest::newRow("UIM to SIM") << 1 << 2 << true;
    QTest::newRow("SIM to UIM") << 2 << 1 << true;
}

void TestDeviceReload::firstChoiceSwitchesWithoutAsking()
{
    QFETCH(int, typeInUse);
    QFETCH(int, typeChosen);
    QFETCH(bool, forced);
    startWithTwoCards(typeInUse, typeChosen);
    // No plug-in set differs between the cards: only the force flag reloads.
    m_host->container().setReloadMap(jsonMap("{}"));
    QVERIFY(chooseRow(1));
    m_host->card().clearCallLog();
    Transcript::instance().clear();
    TraceCapture trace;

    // The card does not name a device in use yet.
    m_host->card().setFault("UTPS_DevSrv_GetDeviceName", 1, 1);
    QTest::mouseClick(okButton(), Qt::LeftButton);

    QVERIFY(m_host->messages().isEmpty());
    QCOMPARE(countCalls(m_host->card().callLog(), "UTPS_DevSrv_ManualChangeDevice"), 1);
    QCOMPARE(m_host->card().currentCard(), 1);
    QCOMPARE(countCalls(m_host->card().callLog(), "UTPS_DevSrv_GetProductType"), 2);
    QCOMPARE(broadcasts585(m_host->records(QStringLiteral("notify"))).size(), forced ? 1 : 0);
    QCOMPARE(trace.contains(QStringLiteral("don't need to reload")), !forced);
    QVERIFY(!m_chooser->dialog());
}

void TestDeviceReload::choosingTheCardInUseChangesNothing()
{
    startWithTwoCards(2, 2);
    QVERIFY(chooseRow(0));
    QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
    m_host->card().clearCallLog();
    Transcript::instance().clear();

    QTest::mouseClick(okButton(), Qt::LeftButton);
    QVERIFY(m_host->messages().isEmpty());
    QCOMPARE(countCalls(m_host->card().callLog(), "UTPS_DevSrv_ManualChangeDevice"), 0);
    QCOMPARE(m_host->card().currentCard(), 0);
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
    QVERIFY(!m_chooser->dialog());
    QTRY_VERIFY(dialog.isNull());
}

void TestDeviceReload::choosingAnotherCardAsksFirst_data()
{
    QTest::addColumn<int>("reply");
    QTest::addColumn<bool>("doubleClick");
    QTest::addColumn<bool>("switched");
    QTest::newRow("yes, OK button") << int(CommonUtils::FirstButton) << false << true;
    QTest::newRow("yes, double click") << int(CommonUtils::FirstButton) << true << true;
    QTest::newRow("no") << int(CommonUtils::SecondButton) << false << false;
    QTest::newRow("any other answer") << int(CommonUtils::ThirdButton) << false << false;
}

void TestDeviceReload::choosingAnotherCardAsksFirst()
{
    QFETCH(int, reply);
    QFETCH(bool, doubleClick);
    QFETCH(bool, switched);
    // Different plug-in sets, yet this path leaves the reload to the SDK's
    // device-change events.
    startWithTwoCards(2, 1);
    m_host->container().setReloadMap(jsonMap(R"({"Card A": ["PA"], "Card B": ["PB"]})"));
    QTableWidget* table = chooseRow(1);
    QVERIFY(table);
    QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
    QWidget* const dialogWidget = dialog.data();
    m_host->card().clearCallLog();
    Transcript::instance().clear();
    m_host->queueReply(reply);

    if (doubleClick) {
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {},
                           table->visualItemRect(table->item(1, 1)).center());
    } else {
        QTest::mouseClick(okButton(), Qt::LeftButton);
    }

    const QList<MessageRequest> asked = m_host->messages();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked[0].icon, QMessageBox::Question);
    QCOMPARE(asked[0].parent, dialogWidget);
    QCOMPARE(asked[0].title, QStringLiteral("IDS_PROMPT_CAPTION"));
    QCOMPARE(asked[0].text, QStringLiteral("IDS_ACTIVE_DEVICE_FALSE"));
    QCOMPARE(asked[0].buttons[0], QStringLiteral("IDS_YES"));
    QCOMPARE(asked[0].buttons[1], QStringLiteral("IDS_NO"));
    QVERIFY(asked[0].buttons[2].isEmpty());

    const std::vector<sim::CallRecord> calls = m_host->card().callLog();
    QCOMPARE(countCalls(calls, "UTPS_DevSrv_ManualChangeDevice"), switched ? 1 : 0);
    QCOMPARE(m_host->card().currentCard(), switched ? 1 : 0);
    QCOMPARE(countCalls(calls, "UTPS_DevSrv_GetProductType"), 0);
    QVERIFY(broadcasts585(m_host->records(QStringLiteral("notify"))).isEmpty());
    QVERIFY(m_sequence.isEmpty());
    QVERIFY(!m_chooser->dialog());
    QTRY_VERIFY(dialog.isNull());
}

void TestDeviceReload::reloadSequence_data()
{
    QTest::addColumn<QByteArray>("map");
    QTest::addColumn<QString>("primedWith");
    QTest::addColumn<QString>("device");
    QTest::addColumn<bool>("force");
    QTest::addColumn<QStringList>("expected");

    const QByteArray none = "{}";
    const QByteArray twoSets = R"({"Card A": ["P1", "P2"], "Card B": ["P3"]})";
    QTest::newRow("no change, not forced")
        << none << QString() << "Card A" << false << QStringList();
    QTest::newRow("no change, forced")
        << none << QString() << "Card A" << true << QStringList{"585 changed= unload="};
    QTest::newRow("first set: empty unload list")
        << twoSets << QString() << "Card A" << false << QStringList{"585 changed=P1,P2 unload="};
    QTest::newRow("other set: unregister all, then unload and load each")
        << twoSets << "Card A"
        << "Card B" << false
        << QStringList{"585 changed=P3 unload=P1,P2",
                       "unregister P1",
                       "unregister P2",
                       "unload P1",
                       "load P1",
                       "unload P2",
                       "load P2"};
    QTest::newRow("same set, not forced") << twoSets << "Card B"
                                          << "Card B" << false << QStringList();
    QTest::newRow("same set, forced")
        << twoSets << "Card B"
        << "Card B" << true
        << QStringList{"585 changed=P3 unload=P3", "unregister P3", "unload P3", "load P3"};
}

void TestDeviceReload::reloadSequence()
{
    QFETCH(QByteArray, map);
    QFETCH(QString, primedWith);
    QFETCH(QString, device);
    QFETCH(bool, force);
    QFETCH(QStringList, expected);
    m_host->container().setReloadMap(QJsonDocument::fromJson(map).object());
    if (!primedWith.isEmpty())
        m_chooser->ReloadPlugins(primedWith, false);
    ReloadListener listener(&m_sequence);
    QVERIFY(m_host->siblings().addNotifyTarget(&listener));
    m_sequence.clear();
    TraceCapture trace;

    m_chooser->ReloadPlugins(device, force);
    m_host->siblings().removeNotifyTarget(&listener);

    QCOMPARE(m_sequence, expected);
    const bool reloaded = !expected.isEmpty();
    QCOMPARE(trace.matching(QStringLiteral("don't need to reload")).size(), reloaded ? 0 : 1);
    QCOMPARE(trace.matching(QStringLiteral(" unRegisterFormPluginContainer Plugin: ")).size(),
             int(expected.filter(QRegularExpression("^unregister ")).size()));
    QCOMPARE(trace.matching(QStringLiteral("Unloading Plugin: ")).size(),
             int(expected.filter(QRegularExpression("^unload ")).size()));
    if (reloaded) {
        // The lists travel by address: the receivers read ours.
        QCOMPARE(listener.lastW, reinterpret_cast<NotifyParam>(&m_chooser->changedPlugins()));
        QCOMPARE(listener.lastL, reinterpret_cast<NotifyParam>(&m_chooser->unloadPlugins()));
    }
}

void TestDeviceReload::reloadSurvivesAMissingNotifier_data()
{
    QTest::addColumn<bool>("registerWrongObject");
    QTest::addColumn<QString>("traceLine");
    QTest::newRow("no notification plug-in") << false << "GetPlugin (NOTIFY_PLUGIN) returned NULL";
    QTest::newRow("plug-in without the interface") << true << "Notify object is null";
}

void TestDeviceReload::reloadSurvivesAMissingNotifier()
{
    QFETCH(bool, registerWrongObject);
    QFETCH(QString, traceLine);
    PluginContainer bare;
    QObject notANotifier;
    if (registerWrongObject)
        bare.registerPlugin(QString::fromLatin1(LinkPlugins::NotifyClsid),
                            LinkPlugins::NotifyInterface, &notANotifier);
    bare.setReloadMap(jsonMap(R"({"Card A": ["P1"], "Card B": ["P2"]})"));
    Startup::SetPluginContainer(&bare);
    m_chooser->ReloadPlugins(QStringLiteral("Card A"), false);
    TraceCapture trace;

    m_chooser->ReloadPlugins(QStringLiteral("Card B"), false);
    Startup::SetPluginContainer(&m_host->container());

    QVERIFY(trace.contains(traceLine));
    QCOMPARE(bare.operations(), (QStringList{"unregister P1", "unload P1", "load P1"}));
}

void TestDeviceReload::reloadWithoutContainerDoesNothing()
{
    m_host->container().setReloadMap(jsonMap(R"({"Card A": ["P1"]})"));
    Startup::SetPluginContainer(nullptr);
    TraceCapture trace;
    m_chooser->ReloadPlugins(QStringLiteral("Card A"), true);
    m_chooser->BroadCastNotify(NTF_PLUGINS_RELOADING, 0, 0);
    Startup::SetPluginContainer(&m_host->container());

    QVERIFY(trace.contains(QStringLiteral("plugin container is null")));
    QVERIFY(trace.contains(QStringLiteral("Startup::GetPluginContainer() returned null ")));
    QVERIFY(m_host->records(QStringLiteral("notify")).isEmpty());
    QVERIFY(m_sequence.isEmpty());
    QVERIFY(m_chooser->unloadPlugins().isEmpty());
}

void TestDeviceReload::traceLinesKeepTheirShape_data()
{
    QTest::addColumn<QString>("situation");
    QTest::addColumn<QString>("line");
    // The log readers' tools key on these exact shapes, odd punctuation
    // included: "<time><sep><file><sep><function><sep><text>".
    const QString time = QStringLiteral("\\d\\d:\\d\\d:\\d\\d:\\d{3}");
    const QString file =
        QStringLiteral("\\.\\./\\.\\./src/DeviceMgrUIPlugin/DeviceMgrChooseDevice\\.cpp");
    const auto spaced = [&](const char* function, const char* text) {
        return QStringLiteral("^%1 : %2 : %3 : %4$").arg(time, file, function, text);
    };
    const auto tight = [&](const char* function, const char* text) {
        return QStringLiteral("^%1: %2: %3: %4$").arg(time, file, function, text);
    };
    const auto comma = [&](const char* function, const char* text) {
        return QStringLiteral("^%1:,%2: %3: %4$").arg(time, file, function, text);
    };
    QTest::newRow("reload entered") << "reload" << tight("ReloadPlugins", "entered");
    QTest::newRow("broadcast called") << "reload" << tight("BroadCastNotify", "called");
    QTest::newRow("unregister line")
        << "reload" << QStringLiteral("^ unRegisterFormPluginContainer Plugin: +\"P1\"$");
    QTest::newRow("unloading line") << "reload" << QStringLiteral("^Unloading Plugin: +\"P1\"$");
    QTest::newRow("no reload needed")
        << "no change" << comma("ReloadPlugins", "don't need to reload");
    QTest::newRow("reload without container")
        << "no container" << comma("ReloadPlugins", "plugin container is null");
    QTest::newRow("broadcast without container")
        << "no container"
        << tight("BroadCastNotify", "Startup::GetPluginContainer\\(\\) returned null ");
    QTest::newRow("OK handler called")
        << "OK without dialog" << spaced("onDeviceChangeOkButtonClicked", "called");
    QTest::newRow("OK handler without dialog")
        << "OK without dialog" << spaced("onDeviceChangeOkButtonClicked", "m_pUILogic = NULL");
}

void TestDeviceReload::traceLinesKeepTheirShape()
{
    QFETCH(QString, situation);
    QFETCH(QString, line);
    m_host->container().setReloadMap(jsonMap(R"({"Card A": ["P1"], "Card B": ["P2"]})"));
    m_chooser->ReloadPlugins(QStringLiteral("Card A"), false);
    TraceCapture trace;

    if (situation == QLatin1String("reload")) {
        m_chooser->ReloadPlugins(QStringLiteral("Card B"), false);
    } else if (situation == QLatin1String("no change")) {
        m_chooser->ReloadPlugins(QStringLiteral("Card A"), false);
    } else if (situation == QLatin1String("no container")) {
        Startup::SetPluginContainer(nullptr);
        m_chooser->ReloadPlugins(QStringLiteral("Card B"), true);
        m_chooser->BroadCastNotify(NTF_PLUGINS_RELOADING, 0, 0);
        Startup::SetPluginContainer(&m_host->container());
    } else {
        m_chooser->onDeviceChangeOkButtonClicked();
        QVERIFY(m_host->messages().isEmpty());
    }
    QCOMPARE(trace.lines().filter(QRegularExpression(line)).size(), 1);
}

QTEST_MAIN(TestDeviceReload)
#include "tst_devicereload.moc"
