#include "BenchHost.h"

#include <DeviceMgrContract.h>
#include <PluginInterfaces.h>
#include <Startup.h>
#include <sim/VirtualCard.h>

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

namespace bench {

namespace {} // namespace

int addLockedCard()
{
    sim::VirtualCard& cards = sim::VirtualCard::instance();
    cards.reset();
    sim::CardConfig config;
    config.plugged = false;
    config.sim.pinEnabled = true;
    return cards.addCard(config);
}

Host::Host(const QString& module) : m_siblings(&m_container)
{
    Startup::SetPluginContainer(&m_container);
    m_siblings.setMainWindow(&m_window);
    if (!module.isEmpty()) {
        QString error;
        QObject* object = m_container.loadPluginLibrary(module, &error);
        m_plugin = qobject_cast<IUIPlugin*>(object);
        if (!m_plugin) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(QCoreApplication::applicationName()),
                         qPrintable(error));
            std::exit(1);
        }
        m_siblings.addNotifyTarget(object);
        m_plugin->Init();
        QRect rect;
        m_plugin->ShowWindow(&m_window, rect);
    }
    m_window.show();
    QCoreApplication::processEvents();
    m_siblings.notifyService()->BroadcastNotify(NTF_FRAME_SHOWN, 0, 0);
    QCoreApplication::processEvents();
}

Host::~Host()
{
    if (m_plugin) {
        m_plugin->UnSDKRegisterEvent();
        m_plugin->OnDestroy();
    }
    Startup::SetPluginContainer(nullptr);
}

} // namespace bench
