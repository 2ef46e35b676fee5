// The host's services: message boxes, settings, yes/no texts, waiting for
// threads, and the dialog frame's close requests.
#include "Change.h"
#include "CommonUtils.h"
#include "ExtendDialog.h"

#include <QApplication>
#include <QCloseEvent>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSemaphore>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

class TestCommonUtils : public QObject
{
    Q_OBJECT
    QTemporaryDir m_settingsDir;

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_settingsDir.isValid());
        CommonUtils::SetSettingsFolder(m_settingsDir.path());
        QVERIFY(Change::SetLanguage("en"));
    }
    void cleanup() { CommonUtils::SetMessageResponder({}); }
    void responder_data()
    {
        QTest::addColumn<QStringList>("buttons");
        QTest::addColumn<int>("reply");
        QTest::newRow("none: the default") << QStringList{"", "", ""} << CommonUtils::FirstButton;
        QTest::newRow("yes/no") << QStringList{"Yes", "No", ""} << CommonUtils::SecondButton;
        QTest::newRow("three") << QStringList{"A", "B", "C"} << CommonUtils::ThirdButton;
    }
    void responder()
    {
        QFETCH(QStringList, buttons);
        QFETCH(int, reply);
        QWidget parent;
        MessageRequest request;
        int asked = 0, boxes = 0;
        CommonUtils::SetMessageResponder([&](const MessageRequest& seenRequest) {
            request = seenRequest;
            ++asked;
            for (QWidget* widget : QApplication::topLevelWidgets())
                boxes += qobject_cast<QMessageBox*>(widget) != nullptr;
            return reply;
        });
        QDialog stale;
        QDialog* open = &stale; // no box was shown, so nothing to point at afterwards
        QCOMPARE(CommonUtils::ShowMessage(QMessageBox::Warning, &parent, "Notice", "The text",
                                          buttons[0], buttons[1], buttons[2], true, Qt::Window,
                                          &open),
                 reply);
        QCOMPARE(asked, 1);
        QCOMPARE(boxes, 0); // no box was made, let alone shown
        QCOMPARE(open, nullptr);
        QVERIFY(request.icon == QMessageBox::Warning && request.parent == &parent);
        QCOMPARE(request.title + "|" + request.text, "Notice|The text");
        const QStringList seen = buttons.join("").isEmpty() ? QStringList{"OK", "", ""} : buttons;
        QCOMPARE(QStringList(std::begin(request.buttons), std::end(request.buttons)), seen);
    }
    void settings()
    {
        QCOMPARE(CommonUtils::SettingsFile(), m_settingsDir.filePath("linkhost.ini"));
        QCOMPARE(CommonUtils::GetSettings("customize", "missing"), QString());
        // A comma stays one string; blanks, a slash and umlauts survive; empty stays empty.
        for (const QString value : {"SIM,USIM", " Gerät / wählen ", ""}) {
            CommonUtils::SetSettings("customize", "simtype", value);
            QCOMPARE(CommonUtils::GetSettings("customize", "simtype"), value);
            QSettings ini(CommonUtils::SettingsFile(), QSettings::IniFormat);
            QCOMPARE(ini.value("customize/simtype").toString(), value);
        }
        // The same value again leaves the file alone (no rewrite, no sync to
        // disk) but is still reported.
        const auto changedAt = [] {
            return QFileInfo(CommonUtils::SettingsFile())
                .fileTime(QFileDevice::FileMetadataChangeTime);
        };
        const QDateTime before = changedAt();
        QThread::msleep(20);
        QStringList reported;
        CommonUtils::SetSettingsObserver(
            [&](const QString& group, const QString& key, const QString& value) {
                reported << group + "/" + key + "=" + value;
            });
        CommonUtils::SetSettings("customize", "simtype", "");
        CommonUtils::SetSettingsObserver({});
        QCOMPARE(changedAt(), before);
        QCOMPARE(reported, QStringList{"customize/simtype="});
        // A yes/no setting is on when it holds a "y" in either case.
        QVERIFY(CommonUtils::IsYes("Yes") && CommonUtils::IsYes("ANY"));
        QVERIFY(!CommonUtils::IsYes("no") && !CommonUtils::IsYes(QString()));
    }
    void waitForThreadToStop()
    {
        QVERIFY(CommonUtils::WaitForThreadToStop(nullptr, 5));
        QSemaphore release;
        std::unique_ptr<QThread> busy(QThread::create([&] { release.tryAcquire(1, 10000); }));
        busy->start();
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!CommonUtils::WaitForThreadToStop(busy.get(), 1));
        QVERIFY2(timer.elapsed() >= 900 && timer.elapsed() < 3000,
                 qPrintable(QString::number(timer.elapsed())));
        release.release();
        QVERIFY(CommonUtils::WaitForThreadToStop(busy.get(), 5));
        QVERIFY(busy->isFinished());
    }
    void dialogCloseDecidedByReceiver_data()
    {
        QTest::addColumn<int>("receiver"); // 0 none, 1 ignores, 2 accepts
        QTest::newRow("no receiver") << 0;
        QTest::newRow("receiver ignores") << 1;
        QTest::newRow("receiver accepts") << 2;
    }
    void dialogCloseDecidedByReceiver()
    {
        QFETCH(int, receiver);
        const bool closes = receiver != 1;
        ExtendDialog dialog(nullptr, Qt::Dialog | Qt::WindowCloseButtonHint, WIDGET_TYPE_POPUP);
        int heard = 0;
        if (receiver != 0)
            connect(&dialog, &ExtendDialog::closeEvent, this, [&](QCloseEvent* event) {
                ++heard;
                event->setAccepted(receiver == 2);
            });
        QSignalSpy closed(&dialog, &ExtendDialog::dlgCloseEvent);
        dialog.setFixedSize(320, 170);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        dialog.hide(); // hiding is no close
        dialog.show();
        QCOMPARE(closed.size(), 0);
        QCOMPARE(dialog.close(), closes);
        QCOMPARE(dialog.isVisible(), !closes);
        QCOMPARE(heard, receiver != 0 ? 1 : 0);
        QCOMPARE(closed.size(), closes ? 1 : 0); // only after a close that took effect
    }
};

QTEST_MAIN(TestCommonUtils)
#include "tst_commonutils.moc"
