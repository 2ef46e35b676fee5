#include "Change.h"
#include "CommonUtils.h"

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSemaphore>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>

namespace {

struct SeenMessage
{
    MessageRequest request;
    int reply = 0;
};

QList<QMessageBox*> openBoxes()
{
    QList<QMessageBox*> boxes;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible())
            boxes.append(box);
    }
    return boxes;
}

} // namespace

class TestCommonUtils : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void responderAnswers_data();
    void responderAnswers();
    void defaultButtonFollowsLanguage_data();
    void defaultButtonFollowsLanguage();
    void realBoxRepliesByPosition_data();
    void realBoxRepliesByPosition();
    void realBoxClosedFromOutside();
    void isYes_data();
    void isYes();
    void settingsRoundTrip_data();
    void settingsRoundTrip();
    void settingsAbsentAreEmpty();
    void settingsFolderDefault();
    void shutDownFlag();
    void threadCount();
    void waitForThreadToStop();
    void moveCentre();

private:
    QTemporaryDir m_settingsDir;
};

void TestCommonUtils::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_settingsDir.isValid());
    CommonUtils::SetSettingsFolder(m_settingsDir.path());
    QVERIFY(Change::SetLanguage(QStringLiteral("en")));
}

void TestCommonUtils::cleanup()
{
    CommonUtils::SetMessageResponder({});
    CommonUtils::SetMessageObserver({});
    CommonUtils::SetSettingsObserver({});
    CommonUtils::SetSettingsFolder(m_settingsDir.path());
    CommonUtils::ResetShutDownFlag();
    Change::SetLanguage(QStringLiteral("en"));
    // A test that failed half-way must not leave a box for the next one.
    for (QMessageBox* box : openBoxes())
        box->done(0);
}

void TestCommonUtils::responderAnswers_data()
{
    QTest::addColumn<int>("icon");
    QTest::addColumn<QStringList>("buttons");
    QTest::addColumn<int>("reply");
    QTest::addColumn<QStringList>("seenButtons");

    QTest::newRow("default button")
        << int(QMessageBox::Information) << QStringList{QString(), QString(), QString()}
        << CommonUtils::FirstButton << QStringList{QStringLiteral("OK"), QString(), QString()};
    QTest::newRow("yes/no, first")
        << int(QMessageBox::Question)
        << QStringList{QStringLiteral("Yes"), QStringLiteral("No"), QString()}
        << CommonUtils::FirstButton
        << QStringList{QStringLiteral("Yes"), QStringLiteral("No"), QString()};
    QTest::newRow("yes/no, second")
        << int(QMessageBox::Warning)
        << QStringList{QStringLiteral("Yes"), QStringLiteral("No"), QString()}
        << CommonUtils::SecondButton
        << QStringList{QStringLiteral("Yes"), QStringLiteral("No"), QString()};
    QTest::newRow("three, third") << int(QMessageBox::Critical)
                                  << QStringList{QStringLiteral("Retry"), QStringLiteral("Cancel"),
                                                 QStringLiteral("Ignore")}
                                  << CommonUtils::ThirdButton
                                  << QStringList{QStringLiteral("Retry"), QStringLiteral("Cancel"),
                                                 QStringLiteral("Ignore")};
    // Only an all-empty set gets the default button.
    QTest::newRow("second only") << int(QMessageBox::Information)
                                 << QStringList{QString(), QStringLiteral("Close"), QString()}
                                 << CommonUtils::SecondButton
                                 << QStringList{QString(), QStringLiteral("Close"), QString()};
}

void TestCommonUtils::responderAnswers()
{
    QFETCH(int, icon);
    QFETCH(QStringList, buttons);
    QFETCH(int, reply);
    QFETCH(QStringList, seenButtons);

    QWidget parent;
    QList<MessageRequest> asked;
    int boxesWhileAsked = -1;
    CommonUtils::SetMessageResponder([&](const MessageRequest& request) {
        asked.append(request);
        boxesWhileAsked = openBoxes().size();
        return reply;
    });
    QList<SeenMessage> observed;
    CommonUtils::SetMessageObserver([&](const MessageRequest& request, int answer) {
        observed.append({request, answer});
    });

    QDialog stale;
    QDialog* open = &stale; // no box: nothing to point at afterwards
    const int result = CommonUtils::ShowMessage(
        QMessageBox::Icon(icon), &parent, QStringLiteral("Notice"), QStringLiteral("The text"),
        buttons.at(0), buttons.at(1), buttons.at(2), true, Qt::Window | Qt::WindowTitleHint, &open);

    QCOMPARE(result, reply);
    QCOMPARE(asked.size(), 1);
    QCOMPARE(boxesWhileAsked, 0);
    QVERIFY(openBoxes().isEmpty());
    const MessageRequest& request = asked.first();
    QCOMPARE(int(request.icon), icon);
    QCOMPARE(request.parent, &parent);
    QCOMPARE(request.title, QStringLiteral("Notice"));
    QCOMPARE(request.text, QStringLiteral("The text"));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(request.buttons[i], seenButtons.at(i));
    QCOMPARE(open, nullptr);

    QCOMPARE(observed.size(), 1);
    QCOMPARE(observed.first().reply, reply);
    QCOMPARE(observed.first().request.text, request.text);
    QCOMPARE(observed.first().request.buttons[0], request.buttons[0]);
}

void TestCommonUtils::defaultButtonFollowsLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("button");

    QTest::newRow("en") << QStringLiteral("en") << QStringLiteral("OK");
    // The key proves the caption comes from the host's shared texts.
    QTest::newRow("keys") << QStringLiteral("keys") << QStringLiteral("IDS_OK");
    QTest::newRow("no catalogue") << QStringLiteral("none") << QStringLiteral("OK");
}

void TestCommonUtils::defaultButtonFollowsLanguage()
{
    QFETCH(QString, language);
    QFETCH(QString, button);

    QVERIFY(Change::SetLanguage(language));
    QString seen;
    CommonUtils::SetMessageResponder([&](const MessageRequest& request) {
        seen = request.buttons[0];
        return CommonUtils::FirstButton;
    });
    CommonUtils::ShowMessage(QMessageBox::Information, nullptr, QStringLiteral("t"),
                             QStringLiteral("x"));
    QCOMPARE(seen, button);
}

void TestCommonUtils::realBoxRepliesByPosition_data()
{
    QTest::addColumn<int>("press");
    QTest::addColumn<int>("reply");

    QTest::newRow("first") << 0 << CommonUtils::FirstButton;
    QTest::newRow("second") << 1 << CommonUtils::SecondButton;
    QTest::newRow("third") << 2 << CommonUtils::ThirdButton;
}

void TestCommonUtils::realBoxRepliesByPosition()
{
    QFETCH(int, press);
    QFETCH(int, reply);

    const QStringList texts{QStringLiteral("Alpha"), QStringLiteral("Beta"),
                            QStringLiteral("Gamma")};
    QDialog* open = nullptr;
    bool sawOpenBox = false;
    QString sawTitle;
    QTimer::singleShot(0, this, [&] {
        auto* box = qobject_cast<QMessageBox*>(open);
        sawOpenBox = box && box->isVisible();
        if (!box)
            return;
        sawTitle = box->windowTitle();
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == texts.at(press))
                button->click();
        }
    });
    // Safety net: whatever goes wrong above, the box does not stay up.
    QTimer::singleShot(5000, this, [] {
        for (QMessageBox* box : openBoxes())
            box->done(0);
    });
    QList<SeenMessage> observed;
    CommonUtils::SetMessageObserver([&](const MessageRequest& request, int answer) {
        observed.append({request, answer});
    });

    const int result = CommonUtils::ShowMessage(
        QMessageBox::Question, nullptr, QStringLiteral("Choose"), QStringLiteral("Which?"),
        texts.at(0), texts.at(1), texts.at(2), true, Qt::Window | Qt::WindowTitleHint, &open);

    QVERIFY(sawOpenBox);
    QCOMPARE(sawTitle, QStringLiteral("Choose"));
    QCOMPARE(result, reply);
    QVERIFY(!open);
    QCOMPARE(observed.size(), 1);
    QCOMPARE(observed.first().reply, reply);
    QTRY_VERIFY(openBoxes().isEmpty());
}

void TestCommonUtils::realBoxClosedFromOutside()
{
    QDialog* open = nullptr;
    QTimer::singleShot(0, this, [&] {
        if (open)
            open->close();
    });
    QTimer::singleShot(5000, this, [] {
        for (QMessageBox* box : openBoxes())
            box->done(0);
    });
    const int result = CommonUtils::ShowMessage(QMessageBox::Question, nullptr, QStringLiteral("t"),
                                                QStringLiteral("Switch?"), QStringLiteral("Yes"),
                                                QStringLiteral("No"), QString(), true, {}, &open);
    // Closing counts as the second button, never as the first.
    QCOMPARE(result, CommonUtils::SecondButton);
    QVERIFY(!open);
}

void TestCommonUtils::isYes_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("on");

    QTest::newRow("Yes") << QStringLiteral("Yes") << true;
    QTest::newRow("y") << QStringLiteral("y") << true;
    QTest::newRow("ANY") << QStringLiteral("ANY") << true;
    QTest::newRow("no") << QStringLiteral("no") << false;
    QTest::newRow("1") << QStringLiteral("1") << false;
    QTest::newRow("empty") << QString() << false;
    QTest::newRow("true") << QStringLiteral("true") << false;
}

void TestCommonUtils::isYes()
{
    QFETCH(QString, value);
    QFETCH(bool, on);
    QCOMPARE(CommonUtils::IsYes(value), on);
}

void TestCommonUtils::settingsRoundTrip_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("plain") << QStringLiteral("Device") << QStringLiteral("ProductType")
                           << QStringLiteral("2");
    QTest::newRow("comma stays one string")
        << QStringLiteral("customize") << QStringLiteral("simtype") << QStringLiteral("SIM,USIM");
    QTest::newRow("blanks and slash") << QStringLiteral("customize") << QStringLiteral("uimtype")
                                      << QStringLiteral(" R-UIM / CSIM ");
    QTest::newRow("umlauts") << QStringLiteral("customize") << QStringLiteral("label")
                             << QStringLiteral("Gerät wählen");
    QTest::newRow("empty value") << QStringLiteral("customize") << QStringLiteral("imsi_detach")
                                 << QString();
}

void TestCommonUtils::settingsRoundTrip()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QString, value);

    QStringList heard;
    CommonUtils::SetSettingsObserver(
        [&](const QString& g, const QString& k, const QString& v) { heard << g << k << v; });
    CommonUtils::SetSettings(group, key, value);

    QCOMPARE(heard, (QStringList{group, key, value}));
    QCOMPARE(CommonUtils::GetSettings(group, key), value);
    QCOMPARE(CommonUtils::SettingsFile(), m_settingsDir.filePath(QStringLiteral("linkhost.ini")));
    QSettings ini(CommonUtils::SettingsFile(), QSettings::IniFormat);
    QCOMPARE(ini.value(group + QLatin1Char('/') + key).toString(), value);
}

void TestCommonUtils::settingsAbsentAreEmpty()
{
    CommonUtils::SetSettings(QStringLiteral("customize"), QStringLiteral("gprs_detach"),
                             QStringLiteral("yes"));
    QCOMPARE(CommonUtils::GetSettings(QStringLiteral("customize"), QStringLiteral("missing")),
             QString());
    QCOMPARE(CommonUtils::GetSettings(QStringLiteral("nogroup"), QStringLiteral("gprs_detach")),
             QString());
    // Another folder is another store.
    QTemporaryDir other;
    CommonUtils::SetSettingsFolder(other.path());
    QCOMPARE(CommonUtils::GetSettings(QStringLiteral("customize"), QStringLiteral("gprs_detach")),
             QString());
}

void TestCommonUtils::settingsFolderDefault()
{
    CommonUtils::SetSettingsFolder(QString());
    QCOMPARE(CommonUtils::SettingsFolder(),
             QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation));
    // Test mode keeps this away from the user's real configuration.
    QVERIFY(CommonUtils::SettingsFolder().contains(QStringLiteral("qttest")));
}

void TestCommonUtils::shutDownFlag()
{
    QVERIFY(!CommonUtils::IsShuttingDown());
    CommonUtils::SetShutDownFlag();
    QVERIFY(CommonUtils::IsShuttingDown());
    CommonUtils::SetShutDownFlag();
    QVERIFY(CommonUtils::IsShuttingDown());
    CommonUtils::ResetShutDownFlag();
    QVERIFY(!CommonUtils::IsShuttingDown());
}

void TestCommonUtils::threadCount()
{
    const int before = CommonUtils::ThreadCount();
    QSemaphore go;
    auto worker = [&] {
        CommonUtils::ThreadCountInc(QStringLiteral(__FILE__), QStringLiteral("worker"));
        go.acquire();
        CommonUtils::ThreadCountDec(QStringLiteral(__FILE__), QStringLiteral("worker"));
    };
    std::unique_ptr<QThread> a(QThread::create(worker));
    std::unique_ptr<QThread> b(QThread::create(worker));
    a->start();
    b->start();
    QTRY_COMPARE(CommonUtils::ThreadCount(), before + 2);
    go.release(2);
    QVERIFY(a->wait(5000));
    QVERIFY(b->wait(5000));
    QCOMPARE(CommonUtils::ThreadCount(), before);

    // An unmatched decrement does not drive the count negative.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("without a matching in"));
    CommonUtils::ThreadCountDec(QStringLiteral(__FILE__), QStringLiteral("stray"));
    QCOMPARE(CommonUtils::ThreadCount(), before);
}

void TestCommonUtils::waitForThreadToStop()
{
    QVERIFY(CommonUtils::WaitForThreadToStop(nullptr, 5));

    QSemaphore release;
    std::unique_ptr<QThread> busy(QThread::create([&] { release.tryAcquire(1, 10000); }));
    busy->start();
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!CommonUtils::WaitForThreadToStop(busy.get(), 1));
    const qint64 waited = timer.elapsed();
    QVERIFY2(waited >= 900 && waited < 3000, qPrintable(QString::number(waited)));

    release.release();
    QVERIFY(CommonUtils::WaitForThreadToStop(busy.get(), 5));
    QVERIFY(busy->isFinished());
    // A finished thread answers at once.
    timer.restart();
    QVERIFY(CommonUtils::WaitForThreadToStop(busy.get(), 5));
    QVERIFY(timer.elapsed() < 500);
}

void TestCommonUtils::moveCentre()
{
    CommonUtils::MoveCentre(nullptr); // nothing to do, no crash

    QWidget window;
    window.setGeometry(100, 80, 600, 400);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QDialog child(&window);
    child.setFixedSize(200, 100);
    CommonUtils::MoveCentre(&child);
    QVERIFY((child.frameGeometry().center() - window.frameGeometry().center()).manhattanLength() <=
            2);

    QDialog lone;
    lone.setFixedSize(300, 120);
    CommonUtils::MoveCentre(&lone);
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY((lone.frameGeometry().center() - screen.center()).manhattanLength() <= 2);
}

QTEST_MAIN(TestCommonUtils)
#include "tst_commonutils.moc"
