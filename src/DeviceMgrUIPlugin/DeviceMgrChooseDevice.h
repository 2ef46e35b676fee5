// The device chooser: lists the attached cards, marks the one in use and hands
// the user's choice to the device switch.
#pragma once

#include "DeviceMgrUILogic.h"

#include <ExtendDialog.h>
#include <PluginInterfaces.h>

#include <QItemDelegate>
#include <QObject>
#include <QStringList>

class QTableWidget;
class QTableWidgetItem;

class ChooseDevExtendDialog : public ExtendDialog
{
    Q_OBJECT
public:
    using ExtendDialog::ExtendDialog;
    ~ChooseDevExtendDialog() override;
};

// Draws no focus frame.
class TableDelegateItem : public QItemDelegate
{
    Q_OBJECT
public:
    using QItemDelegate::QItemDelegate;

protected:
    void drawFocus(QPainter* painter, const QStyleOptionViewItem& option,
                   const QRect& rect) const override;
};

class ChooseDevice : public QObject
{
    Q_OBJECT
public:
    ChooseDevice();
    ~ChooseDevice() override;

    void ShowChooseDlg(QWidget* parent);
    void createChooseDlg(QWidget* parent);
    void PopulateList();
    void ChangeLang();
    void ReloadPlugins(QString deviceName, bool bForce);
    void BroadCastNotify(unsigned int code, NotifyParam wParam, NotifyParam lParam);

    ChooseDevExtendDialog* dialog() const { return m_pChooseDlg; }
    QTableWidget* table() const { return m_pTableWidget; }
    const QStringList& changedPlugins() const { return m_lstChangedPlugins; }
    const QStringList& unloadPlugins() const { return m_lstUnloadPlugins; }

public slots:
    void onDeviceChangeOkButtonClicked();
    void onDeviceChangeCancelButtonClicked();
    void onItemDoubleClicked(int row, int column);
    void onTableItemSelectionChanged();
    void CloseDlg();

private:
    // Drops the dialog and the widget pointers into it (they die with it).
    void forgetDialog();

    DeviceMgrUILogic* m_pUILogic = nullptr;
    ChooseDevExtendDialog* m_pChooseDlg = nullptr;
    QWidget* m_pMainWidget = nullptr;
    QTableWidget* m_pTableWidget = nullptr;
    QTableWidgetItem* m_pCurrentItem = nullptr;
    QTableWidgetItem* m_pHeaderIconItem = nullptr;
    QTableWidgetItem* m_pHeaderNameItem = nullptr;
    TableDelegateItem* m_pDelegate = nullptr;
    _UTPS_ST_MULTI_DEVICE_INFO m_stDeviceInfo{};
    QStringList m_lstChangedPlugins;
    QStringList m_lstUnloadPlugins;
};
