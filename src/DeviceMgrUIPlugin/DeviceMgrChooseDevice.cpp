// Placeholder bodies: replaced by the implementation of this class.
#include "DeviceMgrChooseDevice.h"

ChooseDevExtendDialog::~ChooseDevExtendDialog() = default;

void TableDelegateItem::drawFocus(QPainter* /*painter*/, const QStyleOptionViewItem& /*option*/,
                                  const QRect& /*rect*/) const
{
}

ChooseDevice::ChooseDevice() = default;
ChooseDevice::~ChooseDevice() = default;
void ChooseDevice::ShowChooseDlg(QWidget* /*parent*/) {}
void ChooseDevice::createChooseDlg(QWidget* /*parent*/) {}
void ChooseDevice::PopulateList() {}
void ChooseDevice::ChangeLang() {}
void ChooseDevice::ReloadPlugins(QString /*deviceName*/, bool /*bForce*/) {}
void ChooseDevice::BroadCastNotify(unsigned int /*code*/, NotifyParam /*wParam*/,
                                   NotifyParam /*lParam*/)
{
}
void ChooseDevice::onDeviceChangeOkButtonClicked() {}
void ChooseDevice::onDeviceChangeCancelButtonClicked() {}
void ChooseDevice::onItemDoubleClicked(int /*row*/, int /*column*/) {}
void ChooseDevice::onTableItemSelectionChanged() {}
void ChooseDevice::CloseDlg() {}
