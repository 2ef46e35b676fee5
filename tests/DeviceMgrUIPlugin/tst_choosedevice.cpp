// The device chooser: the list of attached cards with the one in use marked,
// its selection rule, refreshing in place and disposal on every way out.
#include "DeviceMgrChooseDevice.h"
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <Change.h>
#include <CommonUtils.h>

#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QVBoxLayout>

#include <memory>

namespace {

const char kIconFile[] = "/plugins/DeviceMgrUIPlugin/DeviceSelect";

sim::CardConfig card(const char* name, int port)
{
    sim::CardConfig config;
    config.name = name;
    config.port = port;
    return config;
}

QString pluginText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QStringLiteral("DeviceMgrUIPlugin"));
}

QString frameText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QStringLiteral("XFramePlugin"));
}

bool hasIcon(QTableWidgetItem* item)
{
    return item && !item->icon().pixmap(16, 16).isNull();
}

// Exposes the protected focus painter.
class FocusProbe : public TableDelegateItem
{
public:
    using TableDelegateItem::drawFocus;
};

} // namespace

class TestChooseDevice : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void listMarksTheCardInUse_data();
    void listMarksTheCardInUse();
    void dialogCarriesItsNamesAndTexts();
    void clickSelectsOnlyTheNameCell_data();
    void clickSelectsOnlyTheNameCell();
    void showWhileOpenRefreshesInPlace();
    void badDeviceCountGivesEmptyTable_data();
    void badDeviceCountGivesEmptyTable();
    void everyWayOutDisposesOfTheDialog_data();
    void everyWayOutDisposesOfTheDialog();
    void changeLangRelabelsTheOpenDialog();
    void destructorDeletesOpenDialog();
    void delegateDrawsNoFocusFrame();

private:
    // Plugs the cards, starts the service and makes card `inUse` current.
    void startWith(const QList<sim::CardConfig>& cards, int inUse);
    QTableWidget* showChooser();

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<ChooseDevice> m_chooser;
    QString m_libraryPath;
};

void TestChooseDevice::initTestCase()
{
    m_libraryPath = qEnvironmentVariable("LINK_PLUGIN_LIBRARY_PATH");
    QVERIFY2(QFile::exists(m_libraryPath + QLatin1String(kIconFile)),
             qPrintable(m_libraryPath + QLatin1String(kIconFile)));
}

void TestChooseDevice::init()
{
    m_host = std::make_unique<HostFixture>();
    QVERIFY(Change::SetLanguage(QStringLiteral("keys")));
    CommonUtils::SetPluginLibraryPath(m_libraryPath);
    m_chooser = std::make_unique<ChooseDevice>();
}

void TestChooseDevice::cleanup()
{
    m_chooser.reset();
    m_host.reset();
    CommonUtils::SetPluginLibraryPath(QString());
}

void TestChooseDevice::startWith(const QList<sim::CardConfig>& cards, int inUse)
{
    QList<int> indexes;
    for (const sim::CardConfig& config : cards)
        indexes.append(m_host->card().addCard(config));
    m_host->startService();
    QVERIFY(m_host->waitForEvents());
    if (m_host->card().currentCard() != indexes[inUse]) {
        const sim::CardConfig& target = cards[inUse];
        QCOMPARE(UTPS_DevSrv_ManualChangeDevice(target.name.c_str(), "", target.port), 0);
        QVERIFY(m_host->waitForEvents());
    }
    QCOMPARE(m_host->card().currentCard(), indexes[inUse]);
}

QTableWidget* TestChooseDevice::showChooser()
{
    m_chooser->ShowChooseDlg(m_host->mainWindow());
    if (!m_chooser->dialog() || !QTest::qWaitForWindowExposed(m_chooser->dialog()))
        return nullptr;
    return m_chooser->table();
}

void TestChooseDevice::listMarksTheCardInUse_data()
{
    QTest::addColumn<QString>("firstName");
    QTest::addColumn<QString>("secondName");
    QTest::newRow("two names") << "Card A"
                               << "Card B";
    QTest::newRow("one name, two ports") << "Card A"
                                         << "Card A";
}

void TestChooseDevice::listMarksTheCardInUse()
{
    QFETCH(QString, firstName);
    QFETCH(QString, secondName);
    const QByteArray first = firstName.toLatin1();
    const QByteArray second = secondName.toLatin1();
    startWith({card(first.constData(), 3), card(second.constData(), 4)}, 1);

    QTableWidget* table = showChooser();
    QVERIFY(table);
    QVERIFY(m_chooser->dialog()->isVisible());
    QCOMPARE(table->rowCount(), 2);
    QCOMPARE(table->item(0, 1)->text(), firstName);
    QCOMPARE(table->item(1, 1)->text(), secondName);
    QVERIFY(!hasIcon(table->item(0, 0)));
    QVERIFY(hasIcon(table->item(1, 0)));
    QVERIFY(table->item(0, 1)->icon().isNull());
    QVERIFY(table->selectedItems().isEmpty());
    QCOMPARE(table->rowHeight(1), 16);
}

void TestChooseDevice::dialogCarriesItsNamesAndTexts()
{
    startWith({card("Card A", 3), card("Card B", 4)}, 0);
    QTableWidget* table = showChooser();
    QVERIFY(table);
    ChooseDevExtendDialog* dialog = m_chooser->dialog();

    // The names are how the host's scripts and the translators find them.
    QCOMPARE(dialog->objectName(), QStringLiteral("ChooseDevice_ExtendedDlg"));
    QCOMPARE(table->objectName(), QStringLiteral("ChooseDevice_TableWidget"));
    QVERIFY(dialog->findChild<QWidget*>(QStringLiteral("ChooseDevice_WidgetMain")));
    QVERIFY(dialog->findChild<QWidget*>(QStringLiteral("ChooseDevice_widgetButton")));
    auto* label = dialog->findChild<QLabel*>(QStringLiteral("ChooseDevice_LabelList"));
    auto* ok = dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonOk"));
    auto* cancel = dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonCancel"));
    QVERIFY(label && ok && cancel);

    QCOMPARE(dialog->windowTitle(), QStringLiteral("IDS_DEV_MGR_PROMPT"));
    QCOMPARE(label->text(), QStringLiteral("IDS_MGR_LIST_PROMPT"));
    QCOMPARE(ok->text(), QStringLiteral("IDS_OK"));
    QCOMPARE(cancel->text(), QStringLiteral("IDS_CANCEL"));
    QCOMPARE(table->horizontalHeaderItem(1)->text(), QStringLiteral("IDS_DEVICE_NAME"));
    QVERIFY(table->horizontalHeaderItem(0)->text().isEmpty());
    QCOMPARE(dialog->size(), QSize(320, 280));
    QCOMPARE(dialog->windowModality(), Qt::WindowModal);
    QVERIFY(dialog->findChild<QHBoxLayout*>(QStringLiteral("ChooseDevice_layoutButton")));
    QVERIFY(dialog->findChild<QVBoxLayout*>(QStringLiteral("ChooseDevice_layoutMain")));

    // A read-only list of names: one row at a time, no grid, no row numbers.
    QCOMPARE(table->columnCount(), 2);
    QCOMPARE(table->columnWidth(0), 30);
    QCOMPARE(table->columnWidth(1), 260);
    QCOMPARE(table->editTriggers(), QAbstractItemView::NoEditTriggers);
    QCOMPARE(table->selectionMode(), QAbstractItemView::SingleSelection);
    QCOMPARE(table->selectionBehavior(), QAbstractItemView::SelectRows);
    QCOMPARE(table->horizontalScrollMode(), QAbstractItemView::ScrollPerPixel);
    QVERIFY(!table->showGrid());
    QVERIFY(table->verticalHeader()->isHidden());
    QCOMPARE(table->horizontalHeader()->textElideMode(), Qt::ElideRight);
    QCOMPARE(table->horizontalHeader()->minimumHeight(), 20);
    QCOMPARE(table->horizontalHeaderItem(1)->textAlignment(),
             int(Qt::AlignLeft | Qt::AlignVCenter));
    QVERIFY(qobject_cast<TableDelegateItem*>(table->itemDelegate()));
}

void TestChooseDevice::clickSelectsOnlyTheNameCell_data()
{
    QTest::addColumn<int>("column");
    QTest::newRow("click on the icon cell") << 0;
    QTest::newRow("click on the name cell") << 1;
}

void TestChooseDevice::clickSelectsOnlyTheNameCell()
{
    QFETCH(int, column);
    startWith({card("Card A", 3), card("Card B", 4)}, 1);
    QTableWidget* table = showChooser();
    QVERIFY(table);

    const QRect cell = table->visualItemRect(table->item(1, column));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
    QCOMPARE(table->currentRow(), 1);
    QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(1, 1)});

    // Another row takes the selection over.
    const QRect other = table->visualItemRect(table->item(0, column));
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, other.center());
    QCOMPARE(table->selectedItems(), QList<QTableWidgetItem*>{table->item(0, 1)});
}

void TestChooseDevice::showWhileOpenRefreshesInPlace()
{
    startWith({card("Card A", 3), card("Card B", 4)}, 0);
    QTableWidget* table = showChooser();
    QVERIFY(table);
    QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
    dialog->move(40, 50);
    const QPoint where = dialog->pos();

    sim::CardConfig third = card("Card C", 5);
    third.plugged = false;
    m_host->card().plug(m_host->card().addCard(third));
    QVERIFY(m_host->waitForEvents());
    m_chooser->ShowChooseDlg(m_host->mainWindow());
    QCOMPARE(m_chooser->dialog(), dialog.data());
    QCOMPARE(m_chooser->table(), table);
    QCOMPARE(table->rowCount(), 3);
    QCOMPARE(table->item(2, 1)->text(), QStringLiteral("Card C"));
    QVERIFY(hasIcon(table->item(0, 0)));
    QCOMPARE(dialog->pos(), where);
    QVERIFY(dialog->isVisible());

    // A hidden chooser is shown again, still the same dialog.
    dialog->hide();
    m_chooser->ShowChooseDlg(m_host->mainWindow());
    QCOMPARE(m_chooser->dialog(), dialog.data());
    QVERIFY(dialog->isVisible());
}

void TestChooseDevice::badDeviceCountGivesEmptyTable_data()
{
    QTest::addColumn<bool>("sdkFails");
    QTest::newRow("no card left") << false;
    QTest::newRow("device list call fails") << true;
}

void TestChooseDevice::badDeviceCountGivesEmptyTable()
{
    QFETCH(bool, sdkFails);
    startWith({card("Card A", 3), card("Card B", 4)}, 0);
    QTableWidget* table = showChooser();
    QVERIFY(table);
    QCOMPARE(table->rowCount(), 2);

    if (sdkFails) {
        m_host->card().setFault("UTPS_DevSrv_GetAvailableDeviceList", 1, -1);
    } else {
        m_host->card().unplug(0);
        m_host->card().unplug(1);
        QVERIFY(m_host->waitForEvents());
    }
    TraceCapture trace;
    m_chooser->PopulateList();
    QCOMPARE(trace.matching(QStringLiteral("m_stDeviceInfo.nDevNum  is not correct")).size(), 1);
    QCOMPARE(table->rowCount(), 0);
    QVERIFY(m_chooser->dialog());
}

void TestChooseDevice::everyWayOutDisposesOfTheDialog_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("Cancel") << "cancel";
    QTest::newRow("Escape") << "escape";
    QTest::newRow("close button") << "close";
    QTest::newRow("OK without choosing another card") << "ok";
}

void TestChooseDevice::everyWayOutDisposesOfTheDialog()
{
    QFETCH(QString, way);
    startWith({card("Card A", 3), card("Card B", 4)}, 0);
    QVERIFY(showChooser());
    QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
    m_host->card().clearCallLog();

    if (way == QLatin1String("cancel")) {
        QTest::mouseClick(
            dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonCancel")),
            Qt::LeftButton);
    } else if (way == QLatin1String("escape")) {
        QTest::keyClick(dialog.data(), Qt::Key_Escape);
    } else if (way == QLatin1String("close")) {
        QVERIFY(dialog->close());
    } else {
        QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonOk")),
                          Qt::LeftButton);
    }
    QVERIFY(!m_chooser->dialog());
    QVERIFY(!m_chooser->table());
    QTRY_VERIFY(dialog.isNull());
    QVERIFY(m_host->messages().isEmpty());
    for (const sim::CallRecord& call : m_host->card().callLog())
        QVERIFY(call.function != "UTPS_DevSrv_ManualChangeDevice");

    // The next showing builds the dialog anew, filled.
    QTableWidget* table = showChooser();
    QVERIFY(table);
    QVERIFY(m_chooser->dialog()->isVisible());
    QCOMPARE(table->rowCount(), 2);
}

void TestChooseDevice::changeLangRelabelsTheOpenDialog()
{
    startWith({card("Card A", 3)}, 0);
    QTableWidget* table = showChooser();
    QVERIFY(table);
    ChooseDevExtendDialog* dialog = m_chooser->dialog();

    QVERIFY(Change::SetLanguage(QStringLiteral("en")));
    QVERIFY(pluginText("IDS_MGR_LIST_PROMPT") != QLatin1String("IDS_MGR_LIST_PROMPT"));
    m_chooser->ChangeLang();
    QCOMPARE(dialog->windowTitle(), pluginText("IDS_DEV_MGR_PROMPT"));
    QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("ChooseDevice_LabelList"))->text(),
             pluginText("IDS_MGR_LIST_PROMPT"));
    QCOMPARE(table->horizontalHeaderItem(1)->text(), pluginText("IDS_DEVICE_NAME"));
    QCOMPARE(dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonOk"))->text(),
             frameText("IDS_OK"));
    QCOMPARE(dialog->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonCancel"))->text(),
             frameText("IDS_CANCEL"));

    // With the dialog gone there is nothing to relabel.
    m_chooser->CloseDlg();
    m_chooser->ChangeLang();
    QVERIFY(!m_chooser->dialog());
}

void TestChooseDevice::destructorDeletesOpenDialog()
{
    startWith({card("Card A", 3)}, 0);
    QVERIFY(showChooser());
    QPointer<ChooseDevExtendDialog> dialog = m_chooser->dialog();
    m_chooser.reset();
    QVERIFY(dialog.isNull());
}

void TestChooseDevice::delegateDrawsNoFocusFrame()
{
    FocusProbe delegate;
    QImage image(20, 20, QImage::Format_ARGB32);
    image.fill(Qt::blue);
    const QImage before = image;
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 3));
    QStyleOptionViewItem option;
    option.rect = QRect(0, 0, 20, 20);

    option.state = QStyle::State_Enabled;
    delegate.drawFocus(&painter, option, option.rect);
    QCOMPARE(painter.pen().color(), QColor(Qt::black));

    option.state = QStyle::State_Enabled | QStyle::State_HasFocus | QStyle::State_Selected;
    delegate.drawFocus(&painter, option, option.rect);
    QCOMPARE(painter.pen().color(), QColor(Qt::white));
    QCOMPARE(painter.pen().width(), 0);
    painter.end();
    QCOMPARE(image, before);
}

QTEST_MAIN(TestChooseDevice)
#include "tst_choosedevice.moc"
