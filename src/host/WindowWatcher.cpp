#include "WindowWatcher.h"

#include "Transcript.h"

#include <QApplication>
#include <QDir>
#include <QEvent>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

namespace {
// Qt's own helper windows (tool tips, "qt_..." internals) are not the
// application's windows.
bool isWatched(const QWidget* window)
{
    if (window->objectName().isEmpty() || window->windowType() == Qt::ToolTip)
        return false;
    return !window->objectName().startsWith(QLatin1String("qt_"));
}
} // namespace

WindowWatcher::WindowWatcher(QObject* parent) : QObject(parent)
{
    qApp->installEventFilter(this);
}

WindowWatcher::~WindowWatcher()
{
    qApp->removeEventFilter(this);
}

void WindowWatcher::setScreenshotFolder(const QString& folder)
{
    m_folder = folder;
}

QString WindowWatcher::nextScreenshotPath(const QString& name)
{
    ++m_screenshots;
    return QDir(m_folder).filePath(
        QStringLiteral("%1-%2.png").arg(m_screenshots, 2, 10, QLatin1Char('0')).arg(name));
}

QWidget* WindowWatcher::currentWindow() const
{
    if (QWidget* active = QApplication::activeWindow())
        return active;
    for (int i = m_shownOrder.size() - 1; i >= 0; --i) {
        if (m_shownOrder.at(i) && m_shownOrder.at(i)->isVisible())
            return m_shownOrder.at(i);
    }
    return nullptr;
}

bool WindowWatcher::save(QWidget* window, const QString& path, QString* error)
{
    if (!window) {
        *error = QStringLiteral("no window to save");
        return false;
    }
    if (window->grab().save(path, "PNG"))
        return true;
    *error = QStringLiteral("cannot write %1").arg(path);
    return false;
}

bool WindowWatcher::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if ((type != QEvent::Show && type != QEvent::Hide) || !watched->isWidgetType())
        return false;
    auto* widget = static_cast<QWidget*>(watched);
    if (!widget->isWindow() || !isWatched(widget))
        return false;
    if (type == QEvent::Show)
        shown(widget);
    else
        Transcript::instance().record(QStringLiteral("hidden"), widget->objectName());
    return false;
}

void WindowWatcher::shown(QWidget* window)
{
    Transcript::instance().record(QStringLiteral("shown"), window->objectName());
    m_shownOrder.removeIf(
        [window](const QPointer<QWidget>& seen) { return seen.isNull() || seen == window; });
    m_shownOrder.append(window);
    if (m_folder.isEmpty())
        return;
    QPointer<QWidget> guarded(window);
    QTimer::singleShot(ScreenshotDelayMs, this, [this, guarded] { takeScreenshot(guarded); });
}

void WindowWatcher::takeScreenshot(QPointer<QWidget> window)
{
    if (!window || !window->isVisible())
        return;
    QString error;
    if (!save(window, nextScreenshotPath(window->objectName()), &error))
        qWarning("linkhost: screenshot of %s failed: %s", qPrintable(window->objectName()),
                 qPrintable(error));
}
