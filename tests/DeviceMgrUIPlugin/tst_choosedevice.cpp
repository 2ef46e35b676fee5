// The device chooser: the list of attached cards with the one in use marked,
// its selection rule and disposal on every way out.
#include "DeviceMgrChooseDevice.h"
#include "HostFixture.h"
#include "sim/VirtualCard.h"

#include <CommonUtils.h>

#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>

namespace {

bool hasIcon(QTableWidgetItem* item)
{
    return item && !item->icon().pixmap(16, 16).isNull();
}

} // namespace

class TestChooseDevice : public QObject
{
    Q_OBJECT

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<ChooseDevice> m_chooser;

    // "Card A" on port 3 and `second` on port 4, the first in use.
    void startWith(const QString& second)
    {
        sim::CardConfig config;
        config.name = "Card A";
        config.port = 3;
        m_host->card().addCard(config);
        config.name = second.toStdString();
        config.port = 4;
        m_host->card().addCard(config);
        m_host->startService();
        QVERIFY(m_host->waitForEvents());
        QCOMPARE(m_host->card().currentCard(), 0);
    }

    QTableWidget* showChooser()
    {
        m_chooser->ShowChooseDlg(m_host->mainWindow());
        if (!m_chooser->dialog() || !QTest::qWaitForWindowExposed(m_chooser->dialog()))
            return nullptr;
        return m_chooser->table();
    }

private slots:
    void init()
    {
        m_host = std::make_unique<HostFixture>();
        // The in-use icon is a file beside the plug-in.
        CommonUtils::SetPluginLibraryPath(qEnvironmentVariable("LINK_PLUGIN_LIBRARY_PATH"));
        m_chooser = std::make_unique<ChooseDevice>();
    }

    void cleanup()
    {
        m_chooser.reset();
        m_host.reset();
        CommonUtils::SetPluginLibraryPath(QString());
    }

    void listMarksTheCardInUse_data()
    {
        QTest::addColumn<QString>("second");
        QTest::addColumn<int>("column"); // clicked
        QTest::newRow("two names, icon cell clicked") << "Card B" << 0;
        // The mark goes by port too, not by the name alone.
        QTest::newRow("one name, name cell clicked") << "Card A" << 1;
    }

    void listMarksTheCardInUse()
    {
        QFETCH(QString, second);
        QFETCH(int, column);
        startWith(second);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice(second.toLatin1().constData(), "", 4), 0);
        QVERIFY(m_host->waitForEvents());
        QTableWidget* table = showChooser();
        QVERIFY(table);
        QCOMPARE(table->rowCount(), 2);
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("Card A"));
        QCOMPARE(table->item(1, 1)->text(), second);
        QVERIFY(!hasIcon(table->item(0, 0)));
        QVERIFY(hasIcon(table->item(1, 0)));
        QVERIFY(!hasIcon(table->item(1, 1)));
        QVERIFY(table->selectedItems().isEmpty());

        // A click selects the row's name cell only.
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualItemRect(table->item(1, column)).center());
        QCOMPARE(table->currentRow(), 1);
        QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(1, 1)});
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                          table->visualItemRect(table->item(0, column)).center());
        QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(0, 1)});
    }

    void everyWayOutDisposesOfTheDialog_data()
    {
        QTest::addColumn<int>("way");
        QTest::newRow("Cancel") << 0;
        QTest::newRow("Escape") << 1;
        QTest::newRow("close button") << 2;
    }

    void everyWayOutDisposesOfTheDialog()
    {
        QFETCH(int, way);
        startWith("Card B");
        QVERIFY(showChooser());
        QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();

        if (way == 0)
            QTest::mouseClick(dialog->findChild<QPushButton*>("ChooseDevice_buttonCancel"),
                              Qt::LeftButton);
        else if (way == 1)
            QTest::keyClick(dialog.data(), Qt::Key_Escape);
        else
            QVERIFY(dialog->close());
        QVERIFY(!m_chooser->dialog());
        QTRY_VERIFY(dialog.isNull());

        // The next showing builds the dialog anew, filled.
        QTableWidget* table = showChooser();
        QVERIFY(table);
        QVERIFY(m_chooser->dialog()->isVisible());
        QCOMPARE(table->rowCount(), 2);
    }
};

QTEST_MAIN(TestChooseDevice)
#include "tst_choosedevice.moc"
