#include "HostTray.h"

#include <QAction>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QSystemTrayIcon>

namespace {
const char NotificationService[] = "org.freedesktop.Notifications";
constexpr int NoticeMs = 8000;

// A data card seen from above, in the state's colour, with the state's sign.
QPixmap drawIcon(MainWindow::Summary summary, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 32.0, size / 32.0);
    using S = MainWindow::Summary;
    const QColor colour = summary == S::NoCard      ? QColor(0x8a, 0x8f, 0x98)
                          : summary == S::PinNeeded ? QColor(0xe0, 0x8a, 0x00)
                          : summary == S::Ready     ? QColor(0x2e, 0x9d, 0x4f)
                                                    : QColor(0x4a, 0x5a, 0x78);
    QPainterPath card;
    card.addRoundedRect(QRectF(3, 9, 22, 14), 3, 3);
    card.addRect(QRectF(25, 12, 5, 8)); // the plug
    p.fillPath(card, colour);
    p.setPen(QPen(Qt::white, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    switch (summary) {
    case S::NoCard: // a dash: nothing there
        p.drawLine(QPointF(9, 16), QPointF(19, 16));
        break;
    case S::PinNeeded: { // a padlock
        p.drawArc(QRectF(10.5, 10.5, 7, 7), 0, 180 * 16);
        p.fillRect(QRectF(9.5, 14.5, 9, 6.5), Qt::white);
        break;
    }
    case S::Ready: // signal bars
    case S::RadioOff:
        for (int i = 0; i < 3; ++i)
            p.drawLine(QPointF(9 + 5 * i, 20), QPointF(9 + 5 * i, 17 - 2.5 * i));
        if (summary == S::RadioOff)
            p.drawLine(QPointF(7, 11), QPointF(21, 21));
        break;
    }
    return pixmap;
}
} // namespace

HostTray::HostTray(MainWindow* window, QObject* parent)
    : QObject(parent), m_window(window), m_icon(new QSystemTrayIcon(this)),
      m_menu(std::make_unique<QMenu>())
{
    m_menu->setObjectName(QStringLiteral("LinkHost_TrayMenu"));
    // The Device menu's own actions: same entries, same enabled state.
    m_menu->addActions(window->deviceMenu()->actions());
    m_menu->addSeparator();
    QAction* show = m_menu->addAction(tr("Show linkhost"));
    show->setObjectName(QStringLiteral("LinkHost_TrayShow"));
    connect(show, &QAction::triggered, window, &MainWindow::bringToFront);
    QAction* quit = m_menu->addAction(tr("Quit"));
    quit->setObjectName(QStringLiteral("LinkHost_TrayQuit"));
    connect(quit, &QAction::triggered, this, &HostTray::quitRequested);
    connect(m_menu.get(), &QMenu::aboutToShow, window, &MainWindow::updateDeviceMenu);
    m_icon->setContextMenu(m_menu.get());
    connect(m_icon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                if (why == QSystemTrayIcon::Trigger && m_window)
                    m_window->isVisible() ? m_window->hide() : m_window->bringToFront();
            });
    connect(window, &MainWindow::stateChanged, this, &HostTray::update);
    connect(window, &MainWindow::notice, this, &HostTray::post);
    update();
    m_icon->show();
}

HostTray::~HostTray() = default;

bool HostTray::available()
{
    return QSystemTrayIcon::isSystemTrayAvailable();
}

bool HostTray::notificationsReachable(QString* why)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        *why = QStringLiteral("no session bus, so no desktop notification service");
        return false;
    }
    QDBusConnectionInterface* names = bus.interface();
    const QString service = QLatin1String(NotificationService);
    if (names && (names->isServiceRegistered(service).value() ||
                  names->activatableServiceNames().value().contains(service)))
        return true;
    *why = QStringLiteral("no desktop notification service (%1) on the session bus").arg(service);
    return false;
}

QIcon HostTray::iconFor(MainWindow::Summary summary)
{
    QIcon icon;
    for (int size : {16, 22, 32, 64})
        icon.addPixmap(drawIcon(summary, size));
    return icon;
}

QString HostTray::toolTipFor(MainWindow::Summary summary, const QString& deviceName)
{
    using S = MainWindow::Summary;
    if (summary == S::NoCard)
        return tr("linkhost: no card");
    const QString name = deviceName.isEmpty() ? tr("card") : deviceName;
    switch (summary) {
    case S::PinNeeded:
        return tr("linkhost: %1, PIN needed").arg(name);
    case S::RadioOff:
        return tr("linkhost: %1, radio off").arg(name);
    default:
        return tr("linkhost: %1, ready").arg(name);
    }
}

void HostTray::update()
{
    if (!m_window)
        return;
    const MainWindow::Summary summary = m_window->summary();
    m_icon->setIcon(iconFor(summary));
    m_icon->setToolTip(toolTipFor(summary, m_window->deviceName()));
}

void HostTray::post(const QString& title, const QString& text)
{
    // With the window on screen the person sees it there.
    if (!m_window || (m_window->isVisible() && !m_window->isMinimized()) ||
        !m_window->desktopNotificationsOn())
        return;
    QString why;
    if (!available() || !notificationsReachable(&why)) {
        if (!m_unreachableTold)
            qWarning("linkhost: desktop notifications cannot be shown: %s",
                     qPrintable(why.isEmpty() ? QStringLiteral("no tray") : why));
        m_unreachableTold = true;
        return;
    }
    m_icon->showMessage(title, text, QSystemTrayIcon::Information, NoticeMs);
    m_posted.append(title + QStringLiteral(": ") + text);
}
