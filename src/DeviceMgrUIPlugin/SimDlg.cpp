// Placeholder bodies: replaced by the implementation of this class.
#include "SimDlg.h"

#include <QCloseEvent>

SimDlg::SimDlg(QWidget* parent, Qt::WindowFlags flags, enWidgetType type)
    : ExtendDialog(parent, flags, type)
{
}

void SimDlg::reject()
{
}

void SimDlg::closeEvent(QCloseEvent* event)
{
    ExtendDialog::closeEvent(event);
}

bool SimDlg::confirmCancel()
{
    return false;
}
