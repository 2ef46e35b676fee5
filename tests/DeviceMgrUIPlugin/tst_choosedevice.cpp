// The device chooser: the list of attached cards with the one in use marked,
// its selection rule and disposal on every way out.
#include "DeviceMgrChooseDevice.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <QtTest>
#include <QtWidgets>

class TestChooseDevice : public QObject
{
    Q_OBJECT

private slots:
    void chooseAndLeave_data()
    {
        QTest::addColumn<QString>("second"); // the card on port 4, switched to
        QTest::addColumn<int>("column");     // clicked
        QTest::addColumn<QString>("way");    // out
        QTest::newRow("two names, icon cell, Cancel") << "Card B" << 0 << "Cancel";
        // The mark goes by port too, not by the name alone.
        QTest::newRow("one name, name cell, Escape") << "Card A" << 1 << "Escape";
        QTest::newRow("two names, name cell, close button") << "Card B" << 1 << "close";
    }
    void chooseAndLeave()
    {
        QFETCH(QString, second);
        QFETCH(int, column);
        QFETCH(QString, way);
        HostFixture host;
        // The in-use icon is a file beside the plug-in.
        CommonUtils::SetPluginLibraryPath(qEnvironmentVariable("LINK_PLUGIN_LIBRARY_PATH"));
        ChooseDevice chooser;
        const auto show = [&] {
            chooser.ShowChooseDlg(host.mainWindow());
            return chooser.dialog() && QTest::qWaitForWindowExposed(chooser.dialog());
        };
        const auto hasIcon = [](QTableWidgetItem* item) {
            return item && !item->icon().pixmap(16, 16).isNull();
        };
        const auto click = [](QTableWidget* table, int row, int column) {
            QTest::mouseClick(table->viewport(), Qt::LeftButton, {},
                              table->visualItemRect(table->item(row, column)).center());
        };
        QVERIFY(host.startWith({namedCard("Card A", 3), namedCard(second.toStdString(), 4)}));
        QCOMPARE(host.card().currentCard(), 0);
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice(qPrintable(second), "", 4), 0);
        QVERIFY(host.waitForEvents());
        QVERIFY(show());
        QTableWidget* table = chooser.table();
        QCOMPARE(table->rowCount(), 2);
        QCOMPARE(table->item(0, 1)->text(), QStringLiteral("Card A"));
        QCOMPARE(table->item(1, 1)->text(), second);
        QVERIFY(!hasIcon(table->item(0, 0)));
        QVERIFY(hasIcon(table->item(1, 0)));
        QVERIFY(!hasIcon(table->item(1, 1)));
        QVERIFY(table->selectedItems().isEmpty());
        // A click selects the row's name cell only.
        click(table, 1, column);
        QCOMPARE(table->currentRow(), 1);
        QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(1, 1)});
        click(table, 0, column);
        QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(0, 1)});

        QPointer<ChooseDevExtendDialog> dialog = chooser.dialog();
        if (way == "Cancel")
            QTest::mouseClick(dialog->findChild<QPushButton*>("ChooseDevice_buttonCancel"),
                              Qt::LeftButton);
        else if (way == "Escape")
            QTest::keyClick(dialog.data(), Qt::Key_Escape);
        else
            QVERIFY(dialog->close());
        QVERIFY(!chooser.dialog());
        QTRY_VERIFY(dialog.isNull());
        // The next showing builds the dialog anew, filled.
        QVERIFY(show());
        QVERIFY(chooser.dialog()->isVisible());
        QCOMPARE(chooser.table()->rowCount(), 2);
    }
};

QTEST_MAIN(TestChooseDevice)
#include "tst_choosedevice.moc"
