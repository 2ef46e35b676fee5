#include "CommonUtils.h"
#include "Transcript.h"
#include "WindowWatcher.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <memory>

namespace {
const QColor BaseColour(200, 0, 0);
const QColor OverColour(0, 160, 0);

std::unique_ptr<QWidget> window(const QString& name, const QColor& colour, const QSize& size)
{
    auto widget = std::make_unique<QWidget>();
    widget->setObjectName(name);
    widget->setWindowTitle(name);
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, colour);
    widget->setPalette(palette);
    widget->setAutoFillBackground(true);
    widget->resize(size);
    return widget;
}
} // namespace

class TestWindowWatcher : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        Transcript::instance().clear();
        m_watcher = std::make_unique<WindowWatcher>();
        m_base = window(QStringLiteral("Base"), BaseColour, QSize(300, 200));
        m_base->move(40, 30);
        m_base->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_base.get()));
    }
    void cleanup()
    {
        m_base.reset();
        m_watcher.reset();
    }

    void screenDrawsOpenWindowsOverTheBase_data()
    {
        QTest::addColumn<QPoint>("offset"); // from the base's corner
        QTest::addColumn<QPoint>("inside"); // a point of the window in the picture
        QTest::addColumn<QPoint>("title");  // a point of its title bar, clear of the text
        QTest::newRow("where it lies") << QPoint(100, 100) << QPoint(140, 120) << QPoint(176, 90);
        QTest::newRow("pulled into the picture")
            << QPoint(280, 190) << QPoint(295, 195) << QPoint(297, 150);
    }
    void screenDrawsOpenWindowsOverTheBase()
    {
        QFETCH(QPoint, offset);
        QFETCH(QPoint, inside);
        QFETCH(QPoint, title);
        auto over = window(QStringLiteral("Over"), OverColour, QSize(80, 40));
        over->move(m_base->geometry().topLeft() + offset);
        over->show();
        QVERIFY(QTest::qWaitForWindowExposed(over.get()));
        // Shown and closed again: not on the screen any more.
        auto gone = window(QStringLiteral("Gone"), Qt::blue, QSize(60, 60));
        gone->move(m_base->geometry().topLeft() + QPoint(10, 10));
        gone->show();
        QVERIFY(QTest::qWaitForWindowExposed(gone.get()));
        gone->hide();

        const QImage image = m_watcher->screen(m_base.get());
        QCOMPARE(image.size(), m_base->size());
        QCOMPARE(image.pixelColor(inside), OverColour);
        QCOMPARE(image.pixelColor(30, 30), BaseColour);
        // A title bar above the window.
        QCOMPARE(image.pixelColor(title), m_base->palette().color(QPalette::Highlight));
    }

    void messagePicturesAreNumberedAndFollowTheirText()
    {
        QTemporaryDir dir;
        m_watcher->setScreenshotFolder(dir.path());
        QWidget* active = QApplication::activeWindow();
        MessageRequest request;
        request.icon = QMessageBox::Information;
        request.title = QStringLiteral("Notice");
        request.text = QStringLiteral("Short.");
        QString error;
        QVERIFY2(m_watcher->saveMessage(request, &error), qPrintable(error));
        request.text =
            QStringLiteral("A much longer text that needs a much wider box to stand in.");
        request.buttons[0] = QStringLiteral("Yes");
        request.buttons[1] = QStringLiteral("No");
        QVERIFY2(m_watcher->saveMessage(request, &error), qPrintable(error));

        const QImage first(dir.filePath(QStringLiteral("01-msgbox.png")));
        const QImage second(dir.filePath(QStringLiteral("02-msgbox.png")));
        QVERIFY(!first.isNull());
        QVERIFY(!second.isNull());
        QVERIFY2(second.width() > first.width(),
                 qPrintable(QStringLiteral("%1 <= %2").arg(second.width()).arg(first.width())));
        // Never on screen: nothing recorded, nothing activated.
        QCOMPARE(Transcript::instance().lines().filter(QStringLiteral("shown")).size(), 1);
        QCOMPARE(QApplication::activeWindow(), active);
    }

    void unwritablePictureIsAnError()
    {
        m_watcher->setScreenshotFolder(QStringLiteral("/nonexistent/folder"));
        MessageRequest request;
        request.text = QStringLiteral("x");
        QString error;
        QVERIFY(!m_watcher->saveMessage(request, &error));
        QVERIFY2(error.startsWith(QStringLiteral("cannot write /nonexistent/folder/")),
                 qPrintable(error));
    }

private:
    std::unique_ptr<WindowWatcher> m_watcher;
    std::unique_ptr<QWidget> m_base;
};

QTEST_MAIN(TestWindowWatcher)
#include "tst_windowwatcher.moc"
