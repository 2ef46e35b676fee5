#include "WindowWatcher.h"

#include "CommonUtils.h"
#include "Transcript.h"

#include <QApplication>
#include <QDir>
#include <QEvent>
#include <QImage>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

namespace {
// The title bar drawn over a window in a picture of the screen.
constexpr int TitleBarHeight = 22;
constexpr int TitleMargin = 6;

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

QImage WindowWatcher::screen(QWidget* base) const
{
    QImage image = base->grab().toImage();
    QPainter painter(&image);
    const QPalette palette = base->palette();
    for (const QPointer<QWidget>& window : m_shownOrder) {
        if (!window || window == base || !window->isVisible())
            continue;
        // Kept on the picture, title bar included, wherever the window is.
        QRect client(window->geometry().topLeft() - base->geometry().topLeft(), window->size());
        client.moveLeft(qBound(0, client.left(), qMax(0, image.width() - client.width())));
        client.moveTop(qBound(TitleBarHeight, client.top(),
                              qMax(TitleBarHeight, image.height() - client.height())));
        const QRect title(client.left(), client.top() - TitleBarHeight, client.width(),
                          TitleBarHeight);
        painter.fillRect(title, palette.color(QPalette::Highlight));
        painter.setPen(palette.color(QPalette::HighlightedText));
        const QRect text = title.adjusted(TitleMargin, 0, -TitleMargin, 0);
        painter.drawText(
            text, Qt::AlignVCenter | Qt::AlignLeft,
            painter.fontMetrics().elidedText(window->windowTitle(), Qt::ElideRight, text.width()));
        painter.drawPixmap(client.topLeft(), window->grab());
        painter.setPen(palette.color(QPalette::Shadow));
        painter.drawRect(title.united(client).adjusted(0, 0, -1, -1));
    }
    return image;
}

bool WindowWatcher::saveMessage(const MessageRequest& request, QString* error)
{
    QMessageBox box(request.icon, request.title, request.text, QMessageBox::NoButton);
    const QMessageBox::ButtonRole roles[] = {QMessageBox::AcceptRole, QMessageBox::RejectRole,
                                             QMessageBox::NoRole};
    for (int i = 0; i < 3; ++i) {
        if (!request.buttons[i].isEmpty())
            box.addButton(request.buttons[i], roles[i]);
    }
    if (box.buttons().isEmpty())
        box.addButton(QMessageBox::Ok);
    // Laid out as for the screen, but never on it: nothing is activated and
    // nobody has to close it.
    box.setAttribute(Qt::WA_DontShowOnScreen);
    box.show();
    const QImage image = box.grab().toImage();
    box.hide();
    return save(image, nextScreenshotPath(QStringLiteral("msgbox")), error);
}

bool WindowWatcher::save(QWidget* window, const QString& path, QString* error)
{
    if (!window) {
        *error = QStringLiteral("no window to save");
        return false;
    }
    return save(window->grab().toImage(), path, error);
}

bool WindowWatcher::save(const QImage& image, const QString& path, QString* error)
{
    if (image.save(path, "PNG"))
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
