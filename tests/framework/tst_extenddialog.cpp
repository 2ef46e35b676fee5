#include "ExtendDialog.h"

#include <QCloseEvent>
#include <QLabel>
#include <QLayout>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

class TestExtendDialog : public QObject
{
    Q_OBJECT
private slots:
    void closeDecidedByReceiver_data();
    void closeDecidedByReceiver();
    void closeEndsExec();
    void hideIsNoClose();
    void addMainWidget();
    void replaceMainWidget();
};

void TestExtendDialog::closeDecidedByReceiver_data()
{
    QTest::addColumn<int>("receiver"); // 0 none, 1 ignores, 2 accepts explicitly
    QTest::addColumn<bool>("closes");

    QTest::newRow("no receiver") << 0 << true;
    QTest::newRow("receiver ignores") << 1 << false;
    QTest::newRow("receiver accepts") << 2 << true;
}

void TestExtendDialog::closeDecidedByReceiver()
{
    QFETCH(int, receiver);
    QFETCH(bool, closes);

    ExtendDialog dialog(nullptr, Qt::Dialog | Qt::WindowCloseButtonHint, WIDGET_TYPE_POPUP);
    int heard = 0;
    if (receiver != 0) {
        connect(&dialog, &ExtendDialog::closeEvent, this, [&](QCloseEvent* event) {
            ++heard;
            QVERIFY(event);
            if (receiver == 1)
                event->ignore();
            else
                event->accept();
        });
    }
    QSignalSpy closed(&dialog, &ExtendDialog::dlgCloseEvent);
    QSignalSpy rejected(&dialog, &QDialog::rejected);
    dialog.setFixedSize(320, 170); // an empty frame of no size is never exposed
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    QCOMPARE(dialog.close(), closes);
    QCOMPARE(dialog.isVisible(), !closes);
    QCOMPARE(heard, receiver != 0 ? 1 : 0);
    QCOMPARE(closed.size(), closes ? 1 : 0);
    // QDialog's own close handling (which rejects) is replaced, not chained.
    QCOMPARE(rejected.size(), 0);

    // A second request is decided the same way, and heard again.
    if (!closes) {
        QVERIFY(!dialog.close());
        QCOMPARE(heard, 2);
        QCOMPARE(closed.size(), 0);
    }
}

void TestExtendDialog::closeEndsExec()
{
    ExtendDialog dialog(nullptr, Qt::Dialog, WIDGET_TYPE_NORMAL);
    QSignalSpy closed(&dialog, &ExtendDialog::dlgCloseEvent);
    QTimer::singleShot(0, &dialog, &QWidget::close);
    QTimer::singleShot(5000, &dialog, [&] { dialog.done(42); }); // safety net
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    QCOMPARE(closed.size(), 1);
}

void TestExtendDialog::hideIsNoClose()
{
    ExtendDialog dialog(nullptr, Qt::Dialog, WIDGET_TYPE_NORMAL);
    QSignalSpy closed(&dialog, &ExtendDialog::dlgCloseEvent);
    int requests = 0;
    connect(&dialog, &ExtendDialog::closeEvent, this, [&](QCloseEvent*) { ++requests; });
    dialog.show();
    dialog.hide();
    dialog.show();
    dialog.accept();
    QCOMPARE(requests, 0);
    QCOMPARE(closed.size(), 0);
}

void TestExtendDialog::addMainWidget()
{
    QWidget elsewhere;
    ExtendDialog dialog(&elsewhere, Qt::Dialog, WIDGET_TYPE_NORMAL);
    QCOMPARE(dialog.WidgetType(), WIDGET_TYPE_NORMAL);
    QVERIFY(!dialog.MainWidget());

    // Content is made with another parent first, as the plug-in does.
    auto* content = new QWidget(&elsewhere);
    auto* label = new QLabel(QStringLiteral("PIN:"), content);
    dialog.AddMainWidget(content);
    dialog.AddMainWidget(nullptr); // ignored

    QCOMPARE(dialog.MainWidget(), content);
    QCOMPARE(content->parentWidget(), static_cast<QWidget*>(&dialog));
    QVERIFY(dialog.isAncestorOf(label));
    QVERIFY(dialog.layout());
    QVERIFY(dialog.layout()->indexOf(content) >= 0);

    dialog.resize(320, 170);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(content->isVisible());
    QVERIFY(label->isVisible());
    // The content fills the frame.
    QTRY_COMPARE(content->size(), dialog.size());
}

void TestExtendDialog::replaceMainWidget()
{
    ExtendDialog dialog(nullptr, Qt::Dialog, WIDGET_TYPE_NORMAL);
    QPointer<QWidget> first = new QWidget;
    QPointer<QWidget> second = new QWidget;
    dialog.AddMainWidget(first);
    dialog.AddMainWidget(second);
    dialog.resize(300, 200);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));

    QCOMPARE(dialog.MainWidget(), second.data());
    QCOMPARE(dialog.layout()->indexOf(first), -1);
    QVERIFY(dialog.layout()->indexOf(second) >= 0);
    QVERIFY(!first->isVisible());
    QVERIFY(second->isVisible());
    QCOMPARE(first->parentWidget(), static_cast<QWidget*>(&dialog)); // still owned
}

QTEST_MAIN(TestExtendDialog)
#include "tst_extenddialog.moc"
