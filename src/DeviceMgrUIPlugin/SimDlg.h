// The PIN dialog that the SIM forces on the user (enter PIN, PUK): a close by
// the user asks first; a close by the service goes through silently.
#pragma once

#include <ExtendDialog.h>

class SimDlg : public ExtendDialog
{
    Q_OBJECT
public:
    SimDlg(QWidget* parent, Qt::WindowFlags flags, enWidgetType type);

    void reject() override;

    // Set by the creator; cleared by the service just before it closes the
    // dialog itself; set again by such a silent close.
    bool m_bAskOnClose = false;
    // True while the cancel question is on screen.
    bool m_bAsking = false;
    // The cancel question's buttons: OK/Cancel when set, Yes/No when clear.
    bool m_bOkCancelButtons = false;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // Asks whether to cancel; true when the user confirmed.
    bool confirmCancel();
};
