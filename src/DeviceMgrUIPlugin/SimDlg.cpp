#include "SimDlg.h"

#include "DeviceMgrTrace.h"

#include <Change.h>
#include <CommonUtils.h>

#include <QCloseEvent>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

// Window, title hint and a customised frame.

QString pluginText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QStringLiteral("DeviceMgrUIPlugin"));
}

QString sharedText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QStringLiteral("XFramePlugin"));
}

} // namespace

SimDlg::SimDlg(QWidget* parent, Qt::WindowFlags flags, enWidgetType type)
    : ExtendDialog(parent, flags, type)
{}

void SimDlg::reject()
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(kFile));
    if (!confirmCancel())
        return;
    m_bAskOnClose = false;
    close();
}

// Whoever listens to the close request (the service) may turn it down while
// the SIM needs this dialog. That is meant for a plain close request by the
// user only: the service's own close and a close the user has confirmed both
// go through, so the verdict is taken back after the listeners had their say.
void SimDlg::closeEvent(QCloseEvent* event)
{
    if (!event)
        return;
    if (!m_bAskOnClose) {
        m_bAskOnClose = true;
        ExtendDialog::closeEvent(event);
        event->accept();
        return;
    }
    // A second request while the question is up waits for its answer.
    if (m_bAsking || !confirmCancel()) {
        event->ignore();
        return;
    }
    hide();
    ExtendDialog::closeEvent(event);
    event->accept();
}

bool SimDlg::confirmCancel()
{
    const QString first = m_bOkCancelButtons ? sharedText("IDS_OK") : sharedText("IDS_YES");
    const QString second = m_bOkCancelButtons ? sharedText("IDS_CANCEL") : sharedText("IDS_NO");
    m_bAsking = true;
    const int reply =
        CommonUtils::ShowMessage(QMessageBox::Question, this, pluginText("IDS_MAINFRM_PROMPT"),
                                 pluginText("IDS_MAINFRM_PIN_CANCELPROMPT"), first, second,
                                 QString(), true, MessageWindowFlags);
    m_bAsking = false;
    return reply == CommonUtils::FirstButton;
}
