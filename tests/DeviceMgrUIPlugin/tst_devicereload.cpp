// Confirming a card in the chooser (who is asked, what is switched) and the
// exchange of per-device plug-ins (broadcast, unregistering, reloading).
#include "CardCalls.h"
#include "DeviceMgrChooseDevice.h"
#include "HostFixture.h"
#include "Transcript.h"
#include <sim/VirtualCard.h>

#include <QtTest>
#include <QtWidgets>

// The card names no device in use yet, product type of the second card, row
// chosen, reply to the question; asked, switched, the reload (forced with the
// same, empty, set)
using Choice = std::tuple<bool, int, int, int, bool, bool, QString>;

class TestDeviceReload : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<ChooseDevice> m_chooser;

    void useReloadMap(bool sets)
    {
        const char* map = sets ? R"({"Card A": ["P1", "P2"], "Card B": ["P3"]})" : "{}";
        m_host->container().setReloadMap(QJsonDocument::fromJson(map).object());
    }

    // The plug-in reload broadcasts, with the lists they point at, and the plug-in
    // operations, in the order they happened.
    QString reloadSequence() const
    {
        const QStringList& changed = m_chooser->changedPlugins();
        const QStringList& unload = m_chooser->unloadPlugins();
        const QString ours = QString("broadcast %1 %2 %3")
                                 .arg(NTF_PLUGINS_RELOADING)
                                 .arg(quintptr(&changed))
                                 .arg(quintptr(&unload));
        const QString others = QString("broadcast %1 ").arg(NTF_PLUGINS_RELOADING);
        QStringList sequence;
        for (const Transcript::Record& record : Transcript::instance().records()) {
            if (record.text == ours)
                sequence << "reload changed=" + changed.join(',') + " unload=" + unload.join(',');
            else if (record.kind == "plugin" || record.text.startsWith(others))
                sequence << record.text; // lists somebody else's
        }
        return sequence.join("; ");
    }

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        m_chooser = std::make_unique<ChooseDevice>();
        connect(&m_host->container(), &PluginContainer::pluginOperation, this,
                [](const QString& op, const QString& id) {
                    Transcript::instance().record("plugin", op + ' ' + id);
                });
    }
    void cleanup()
    {
        m_chooser.reset();
        m_host.reset();
    }
    void confirmChoice_data()
    {
        QTest::addColumn<Choice>("row");
        const int yes = CommonUtils::FirstButton, no = CommonUtils::SecondButton;
        // Product type decides the force flag; the map has no sets to compare.
        QTest::newRow("first choice, same type") << Choice{true, 2, 1, yes, false, true, ""};
        QTest::newRow("first choice, SIM to UIM")
            << Choice{true, 1, 1, yes, false, true, "reload changed= unload="};
        QTest::newRow("card in use") << Choice{false, 2, 0, yes, false, false, ""};
        // Different sets, yet the reload is left to the SDK's device-change events.
        QTest::newRow("another card, Yes") << Choice{false, 1, 1, yes, true, true, ""};
        QTest::newRow("another card, No") << Choice{false, 1, 1, no, true, false, ""};
    }
    void confirmChoice()
    {
        QFETCH(Choice, row);
        const auto& [firstChoice, chosenType, chosenRow, reply, asked, switched, reload] = row;
        // "Card A", a SIM card by default, in use, and "Card B".
        sim::CardConfig second = namedCard("Card B", 4);
        second.productType = chosenType;
        QVERIFY(m_host->startWith({namedCard("Card A", 3), second}));
        QCOMPARE(m_host->card().currentCard(), 0);
        useReloadMap(!firstChoice);
        m_chooser->ShowChooseDlg(m_host->mainWindow());
        QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
        QTableWidget* table = m_chooser->table();
        QVERIFY(table && QTest::qWaitForWindowExposed(dialog));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualItemRect(table->item(chosenRow, 1)).center());
        QCOMPARE(table->currentRow(), chosenRow);
        m_host->card().clearCallLog();
        Transcript::instance().clear();
        if (firstChoice)
            m_host->card().setFault("UTPS_DevSrv_GetDeviceName", 1, 1);
        m_host->queueReply(reply);
        QTest::mouseClick(dialog->findChild<QPushButton*>("ChooseDevice_buttonOk"), Qt::LeftButton);

        // The question's texts and buttons are checked end to end in a scenario.
        QCOMPARE(m_host->messages().size(), asked ? 1 : 0);
        QCOMPARE(callCount("UTPS_DevSrv_ManualChangeDevice"), switched ? 1 : 0);
        QCOMPARE(m_host->card().currentCard(), switched ? 1 : 0);
        QCOMPARE(reloadSequence(), reload);
        QVERIFY(!m_chooser->dialog());
        QTRY_VERIFY(dialog.isNull());
    }
    // Without a change and with force the first-choice rows above cover it.
    void reloadPlugins_data()
    {
        QTest::addColumn<QStringList>("devices"); // reloaded for in turn, the last one observed
        QTest::addColumn<QString>("expected");
        QTest::newRow("first set: empty unload list")
            << QStringList{"Card A"} << "reload changed=P1,P2 unload=";
        QTest::newRow("other set: unregister all, then unload and load each")
            << QStringList{"Card A", "Card B"}
            << "reload changed=P3 unload=P1,P2; unregister P1; unregister P2; "
               "unload P1; load P1; unload P2; load P2";
        QTest::newRow("same set, not forced") << QStringList{"Card B", "Card B"} << "";
    }
    void reloadPlugins()
    {
        QFETCH(QStringList, devices);
        QFETCH(QString, expected);
        useReloadMap(true);
        for (const QString& device : devices) {
            Transcript::instance().clear();
            m_chooser->ReloadPlugins(device, false);
        }
        QCOMPARE(reloadSequence(), expected);
    }
};

QTEST_MAIN(TestDeviceReload)
#include "tst_devicereload.moc"
