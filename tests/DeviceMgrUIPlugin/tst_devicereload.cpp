// Confirming a card in the chooser (who is asked, what is switched) and the
// exchange of per-device plug-ins (broadcast, unregistering, reloading).
#include "CardCalls.h"
#include "DeviceMgrChooseDevice.h"
#include "HostFixture.h"
#include "PluginContainer.h"
#include "Transcript.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

namespace {

QJsonObject reloadMap(bool sets)
{
    const char* text = R"({"Card A": ["P1", "P2"], "Card B": ["P3"]})";
    return QJsonDocument::fromJson(sets ? text : "{}").object();
}

} // namespace

class TestDeviceReload : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<ChooseDevice> m_chooser;

    // "Card A" (a SIM card) on port 3, in use, and "Card B" on port 4.
    void startWithTwoCards(int secondType)
    {
        sim::CardConfig config;
        config.name = "Card A";
        config.port = 3;
        m_host->card().addCard(config);
        config.name = "Card B";
        config.port = 4;
        config.productType = secondType;
        m_host->card().addCard(config);
        m_host->startService();
        QVERIFY(m_host->waitForEvents());
        QCOMPARE(m_host->card().currentCard(), 0);
    }

    // Shows the chooser, clicks `row` and empties the call log and transcript.
    QPushButton* chooseRow(int row)
    {
        m_chooser->ShowChooseDlg(m_host->mainWindow());
        QTableWidget* table = m_chooser->table();
        if (!table || !QTest::qWaitForWindowExposed(m_chooser->dialog()))
            return nullptr;
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualItemRect(table->item(row, 1)).center());
        m_host->card().clearCallLog();
        Transcript::instance().clear();
        return table->currentRow() == row
                   ? m_chooser->dialog()->findChild<QPushButton*>("ChooseDevice_buttonOk")
                   : nullptr;
    }

    // The 585 broadcasts, with the lists they point at, and the plug-in
    // operations, in the order they happened.
    QStringList reloadSequence() const
    {
        const QStringList& changed = m_chooser->changedPlugins();
        const QStringList& unload = m_chooser->unloadPlugins();
        const QString ours = QStringLiteral("broadcast 585 %1 %2")
                                 .arg(reinterpret_cast<quintptr>(&changed))
                                 .arg(reinterpret_cast<quintptr>(&unload));
        QStringList sequence;
        for (const Transcript::Record& record : Transcript::instance().records()) {
            if (record.kind == QLatin1String("plugin"))
                sequence << record.text;
            else if (record.text == ours)
                sequence << QStringLiteral("585 changed=%1 unload=%2")
                                .arg(changed.join(','), unload.join(','));
            else if (record.text.startsWith(QLatin1String("broadcast 585 ")))
                sequence << record.text; // lists somebody else's
        }
        return sequence;
    }

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        m_chooser = std::make_unique<ChooseDevice>();
        connect(&m_host->container(), &PluginContainer::pluginOperation, this,
                [](const QString& op, const QString& id) {
                    Transcript::instance().record("plugin", op + QLatin1Char(' ') + id);
                });
    }

    void cleanup()
    {
        m_chooser.reset();
        m_host.reset();
    }

    void confirmChoice_data()
    {
        QTest::addColumn<bool>("firstChoice"); // the card names no device in use yet
        QTest::addColumn<int>("chosenType");   // product type of the second card
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("reply");
        QTest::addColumn<bool>("asked");
        QTest::addColumn<bool>("switched");
        QTest::addColumn<QString>("reload"); // forced with the same (empty) set
        const int yes = CommonUtils::FirstButton;
        const int no = CommonUtils::SecondButton;
        // Product type decides the force flag; the map has no sets to compare.
        QTest::newRow("first choice, same type") << true << 2 << 1 << yes << false << true << "";
        QTest::newRow("first choice, SIM to UIM")
            << true << 1 << 1 << yes << false << true << "585 changed= unload=";
        QTest::newRow("card in use") << false << 2 << 0 << yes << false << false << "";
        // Different sets, yet the reload is left to the SDK's device-change events.
        QTest::newRow("another card, Yes") << false << 1 << 1 << yes << true << true << "";
        QTest::newRow("another card, No") << false << 1 << 1 << no << true << false << "";
    }

    void confirmChoice()
    {
        QFETCH(bool, firstChoice);
        QFETCH(int, chosenType);
        QFETCH(int, row);
        QFETCH(int, reply);
        QFETCH(bool, asked);
        QFETCH(bool, switched);
        QFETCH(QString, reload);
        startWithTwoCards(chosenType);
        m_host->container().setReloadMap(reloadMap(!firstChoice));
        QPushButton* ok = chooseRow(row);
        QVERIFY(ok);
        QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
        if (firstChoice)
            m_host->card().setFault("UTPS_DevSrv_GetDeviceName", 1, 1);
        m_host->queueReply(reply);
        QTest::mouseClick(ok, Qt::LeftButton);

        // The question's texts and buttons are checked end to end in a scenario.
        QCOMPARE(m_host->messages().size(), asked ? 1 : 0);
        QCOMPARE(callCount("UTPS_DevSrv_ManualChangeDevice"), switched ? 1 : 0);
        QCOMPARE(m_host->card().currentCard(), switched ? 1 : 0);
        QCOMPARE(reloadSequence().join("; "), reload);
        QVERIFY(!m_chooser->dialog());
        QTRY_VERIFY(dialog.isNull());
    }

    // Without a change and with force the first-choice rows above cover it.
    void reloadPlugins_data()
    {
        QTest::addColumn<QStringList>("devices"); // reloaded for in turn, the last one observed
        QTest::addColumn<QString>("expected");
        QTest::newRow("first set: empty unload list")
            << QStringList{"Card A"} << "585 changed=P1,P2 unload=";
        QTest::newRow("other set: unregister all, then unload and load each")
            << QStringList{"Card A", "Card B"}
            << "585 changed=P3 unload=P1,P2; unregister P1; unregister P2; "
               "unload P1; load P1; unload P2; load P2";
        QTest::newRow("same set, not forced") << QStringList{"Card B", "Card B"} << "";
    }

    void reloadPlugins()
    {
        QFETCH(QStringList, devices);
        QFETCH(QString, expected);
        m_host->container().setReloadMap(reloadMap(true));
        for (const QString& device : devices) {
            Transcript::instance().clear();
            m_chooser->ReloadPlugins(device, false);
        }
        QCOMPARE(reloadSequence().join("; "), expected);
    }
};

QTEST_MAIN(TestDeviceReload)
#include "tst_devicereload.moc"
