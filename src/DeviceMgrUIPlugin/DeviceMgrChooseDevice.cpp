#include "DeviceMgrChooseDevice.h"

#include "DeviceMgrTrace.h"

#include <Change.h>
#include <CommonUtils.h>
#include <DeviceMgrContract.h>
#include <IPluginContainer.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QHBoxLayout>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

const char kPluginContext[] = "DeviceMgrUIPlugin";
const char kFrameContext[] = "XFramePlugin";

// The icon that marks the device in use, below the host's plug-in folder.
const char kIconFolder[] = "/plugins/DeviceMgrUIPlugin/";
const char kIconName[] = "DeviceSelect";

constexpr int kReplyYes = 0x400;
constexpr int kRowHeight = 16;

QString pluginText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QString::fromLatin1(kPluginContext));
}

QString frameText(const char* key)
{
    return Change::tr(QString::fromLatin1(key), QString::fromLatin1(kFrameContext));
}

// The SDK's name buffer is not trusted to carry its terminator.
QString deviceName(const _UTPS_ST_DEVICE_INFO& record)
{
    return QString::fromLatin1(
        record.szDeviceName, static_cast<int>(qstrnlen(record.szDeviceName, UTPS_DEVICE_NAME_LEN)));
}

} // namespace

ChooseDevExtendDialog::~ChooseDevExtendDialog() = default;

void TableDelegateItem::drawFocus(QPainter* painter, const QStyleOptionViewItem& option,
                                  const QRect& /*rect*/) const
{
    // No dotted focus rectangle: the selected name cell is marking enough.
    if (option.state & QStyle::State_HasFocus)
        painter->setPen(QPen(Qt::white, 0));
}

ChooseDevice::ChooseDevice() : QObject(nullptr) {}

ChooseDevice::~ChooseDevice()
{
    ChooseDevExtendDialog* dialog = m_pChooseDlg;
    forgetDialog();
    delete dialog;
    m_pUILogic = nullptr;
    m_lstChangedPlugins.clear();
    m_lstUnloadPlugins.clear();
}

void ChooseDevice::ShowChooseDlg(QWidget* parent)
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
    if (m_pChooseDlg) {
        // Already open: refresh in place, the dialog stays where it is.
        PopulateList();
        if (!m_pChooseDlg->isVisible())
            m_pChooseDlg->setVisible(true);
        return;
    }
    m_pUILogic = DeviceMgrUILogic::GetInstance();
    if (!m_pUILogic) {
        DM_DEBUG("%s : %s : %s : DeviceMgrUILogic::GetInstance() returned NULL",
                 DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    createChooseDlg(parent);
    PopulateList();
    m_pChooseDlg->show();
}

void ChooseDevice::createChooseDlg(QWidget* parent)
{
    m_pChooseDlg = new ChooseDevExtendDialog(parent, Qt::Dialog | Qt::WindowCloseButtonHint,
                                             WIDGET_TYPE_POPUP);
    m_pMainWidget = new QWidget(parent);
    auto* buttonWidget = new QWidget(m_pMainWidget);
    auto* label = new QLabel(m_pMainWidget);
    m_pTableWidget = new QTableWidget(m_pMainWidget);
    // Both header items and the delegate are handed to the table below; the
    // delegate is parented to the dialog so that it dies with it.
    m_pHeaderIconItem = new QTableWidgetItem;
    m_pHeaderNameItem = new QTableWidgetItem;
    auto* okButton = new QPushButton(buttonWidget);
    auto* cancelButton = new QPushButton(buttonWidget);
    auto* buttonLayout = new QHBoxLayout;
    auto* mainLayout = new QVBoxLayout;
    m_pDelegate = new TableDelegateItem(m_pChooseDlg);

    // A dialog replaced behind our back (its parent window went away) must
    // not leave a dangling pointer.
    connect(m_pChooseDlg, &QObject::destroyed, this, [this](QObject* dialog) {
        if (dialog == static_cast<QObject*>(m_pChooseDlg))
            forgetDialog();
    });

    m_pChooseDlg->setObjectName(QStringLiteral("ChooseDevice_ExtendedDlg"));
    m_pMainWidget->setObjectName(QStringLiteral("ChooseDevice_WidgetMain"));
    label->setObjectName(QStringLiteral("ChooseDevice_LabelList"));
    m_pTableWidget->setObjectName(QStringLiteral("ChooseDevice_TableWidget"));
    okButton->setObjectName(QStringLiteral("ChooseDevice_buttonOk"));
    cancelButton->setObjectName(QStringLiteral("ChooseDevice_buttonCancel"));
    buttonLayout->setObjectName(QStringLiteral("ChooseDevice_layoutButton"));
    mainLayout->setObjectName(QStringLiteral("ChooseDevice_layoutMain"));
    buttonWidget->setObjectName(QStringLiteral("ChooseDevice_widgetButton"));

    label->setText(pluginText("IDS_MGR_LIST_PROMPT"));
    // The dialog has a fixed width; a longer prompt (German) wraps instead of
    // being cut.
    label->setWordWrap(true);

    QHeaderView* header = m_pTableWidget->horizontalHeader();
    header->setTextElideMode(Qt::ElideRight);
    header->setMinimumHeight(20);
    m_pTableWidget->setColumnCount(2);
    m_pTableWidget->setColumnWidth(0, 30);
    m_pTableWidget->setColumnWidth(1, 260);
    m_pTableWidget->clearContents();
    m_pTableWidget->setRowCount(0);
    m_pTableWidget->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_pTableWidget->verticalHeader()->setVisible(false);
    // The style's minimum section is taller than our rows: let them be 16.
    m_pTableWidget->verticalHeader()->setMinimumSectionSize(kRowHeight);
    m_pTableWidget->setShowGrid(false);
    m_pTableWidget->setItemDelegate(m_pDelegate);
    m_pHeaderNameItem->setText(pluginText("IDS_DEVICE_NAME"));
    m_pHeaderNameItem->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_pTableWidget->setHorizontalHeaderItem(1, m_pHeaderNameItem);
    m_pTableWidget->setHorizontalHeaderItem(0, m_pHeaderIconItem);
    m_pTableWidget->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pTableWidget->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);

    okButton->setText(frameText("IDS_OK"));
    cancelButton->setText(frameText("IDS_CANCEL"));
    buttonLayout->addWidget(okButton);
    buttonLayout->addSpacing(2);
    buttonLayout->addWidget(cancelButton);
    buttonLayout->setAlignment(Qt::AlignRight);
    buttonWidget->setLayout(buttonLayout);

    connect(okButton, SIGNAL(clicked()), this, SLOT(onDeviceChangeOkButtonClicked()));
    connect(cancelButton, SIGNAL(clicked()), this, SLOT(onDeviceChangeCancelButtonClicked()));
    connect(m_pTableWidget, SIGNAL(cellDoubleClicked(int, int)), this,
            SLOT(onItemDoubleClicked(int, int)));
    connect(m_pTableWidget, SIGNAL(itemSelectionChanged()), this,
            SLOT(onTableItemSelectionChanged()));
    connect(m_pChooseDlg, SIGNAL(rejected()), this, SLOT(CloseDlg()));
    connect(m_pChooseDlg, SIGNAL(dlgCloseEvent()), this, SLOT(CloseDlg()));

    mainLayout->addWidget(label);
    mainLayout->addWidget(m_pTableWidget);
    mainLayout->addWidget(buttonWidget);
    m_pMainWidget->setLayout(mainLayout);
    m_pChooseDlg->AddMainWidget(m_pMainWidget);

    m_pChooseDlg->setWindowTitle(pluginText("IDS_DEV_MGR_PROMPT"));
    m_pChooseDlg->setFixedSize(320, 280);
    m_pChooseDlg->setWindowModality(Qt::WindowModal);
    CommonUtils::MoveCentre(m_pChooseDlg);
}

void ChooseDevice::PopulateList()
{
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
    const QString libraryPath = CommonUtils::GetPluginLibraryPath();
    if (!m_pUILogic || !m_pTableWidget || !m_pChooseDlg) {
        DM_DEBUG("%s : %s : %s : m_pUILogic = NULL", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    m_stDeviceInfo = m_pUILogic->GetDeviceInfo();

    const int count = m_stDeviceInfo.nDevNum;
    if (static_cast<unsigned int>(count) - 1u > static_cast<unsigned int>(MAX_DEVICE_COUNT) - 1u) {
        DM_DEBUG("%s : %s : %s : m_stDeviceInfo.nDevNum  is not correct",
                 DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        m_pTableWidget->clearContents();
        // Rows without content; a negative count leaves none.
        m_pTableWidget->setRowCount(qMax(count, 0));
        return;
    }

    const QString currentName = m_pUILogic->GetCurrentDeviceName();
    const int currentPort = m_pUILogic->GetCurrentDevicePortNo();
    m_pTableWidget->clearContents();
    m_pTableWidget->setRowCount(count);

    const QIcon inUse(libraryPath + QLatin1String(kIconFolder) + QLatin1String(kIconName));
    for (int row = 0; row < count; ++row) {
        const _UTPS_ST_DEVICE_INFO& record = m_stDeviceInfo.stDevInfo[row];
        const QString name = deviceName(record);

        auto* iconItem = new QTableWidgetItem;
        if (name == currentName && record.nPort == currentPort)
            iconItem->setIcon(inUse);
        m_pTableWidget->setItem(row, 0, iconItem);

        m_pCurrentItem = new QTableWidgetItem(name);
        m_pTableWidget->setItem(row, 1, m_pCurrentItem);
        m_pTableWidget->setRowHeight(row, kRowHeight);
    }
    m_pTableWidget->setFocus(Qt::OtherFocusReason);
    m_pTableWidget->setSelectionBehavior(QAbstractItemView::SelectRows);
}

void ChooseDevice::onTableItemSelectionChanged()
{
    if (!m_pTableWidget)
        return;
    // Only the name cell of a selected row shows as selected.
    const QList<QTableWidgetItem*> selected = m_pTableWidget->selectedItems();
    for (QTableWidgetItem* item : selected) {
        if (item->column() == 0)
            item->setSelected(false);
    }
}

void ChooseDevice::onItemDoubleClicked(int /*row*/, int /*column*/)
{
    onDeviceChangeOkButtonClicked();
}

void ChooseDevice::onDeviceChangeCancelButtonClicked()
{
    CloseDlg();
}

void ChooseDevice::CloseDlg()
{
    if (!m_pChooseDlg)
        return;
    // Forget the dialog before closing it: closing reports back through
    // rejected() and dlgCloseEvent(), both connected here.
    ChooseDevExtendDialog* dialog = m_pChooseDlg;
    forgetDialog();
    dialog->close();
    dialog->deleteLater();
}

void ChooseDevice::forgetDialog()
{
    m_pChooseDlg = nullptr;
    m_pMainWidget = nullptr;
    m_pTableWidget = nullptr;
    m_pCurrentItem = nullptr;
    m_pHeaderIconItem = nullptr;
    m_pHeaderNameItem = nullptr;
    m_pDelegate = nullptr;
}

void ChooseDevice::ChangeLang()
{
    if (m_pMainWidget) {
        auto* label = m_pMainWidget->findChild<QLabel*>(QStringLiteral("ChooseDevice_LabelList"));
        if (label)
            label->setText(pluginText("IDS_MGR_LIST_PROMPT"));
        if (m_pHeaderNameItem)
            m_pHeaderNameItem->setText(pluginText("IDS_DEVICE_NAME"));
        auto* ok = m_pMainWidget->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonOk"));
        if (ok)
            ok->setText(frameText("IDS_OK"));
        auto* cancel =
            m_pMainWidget->findChild<QPushButton*>(QStringLiteral("ChooseDevice_buttonCancel"));
        if (cancel)
            cancel->setText(frameText("IDS_CANCEL"));
    }
    if (m_pChooseDlg)
        m_pChooseDlg->setWindowTitle(pluginText("IDS_DEV_MGR_PROMPT"));
}

void ChooseDevice::onDeviceChangeOkButtonClicked()
{
    const QString caption = pluginText("IDS_PROMPT_CAPTION");
    const QString question = pluginText("IDS_ACTIVE_DEVICE_FALSE");
    _UTPS_ST_DEVICE_INFO record{};
    DM_DEBUG("%s : %s : %s : called", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));

    if (!m_pUILogic || !m_pChooseDlg || !m_pTableWidget) {
        DM_DEBUG("%s : %s : %s : m_pUILogic = NULL", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        CloseDlg();
        return;
    }
    // No current row means nothing was chosen.
    const int row = m_pTableWidget->currentRow();
    if (row < 0 || row >= m_stDeviceInfo.nDevNum || row >= MAX_DEVICE_COUNT) {
        CloseDlg();
        return;
    }
    record = m_stDeviceInfo.stDevInfo[row];
    const QString chosenName = deviceName(record);
    const QString currentName = m_pUILogic->GetCurrentDeviceName();
    const int currentPort = m_pUILogic->GetCurrentDevicePortNo();

    if (currentName.isEmpty()) {
        // First choice: no question. A change of card family (UIM/SIM)
        // across the switch forces a full plug-in reload.
        int before = 0;
        int after = 0;
        UTPS_DevSrv_GetProductType(&before);
        m_pUILogic->SelectDevice(record);
        UTPS_DevSrv_GetProductType(&after);
        ReloadPlugins(chosenName, before != after);
        CloseDlg();
        return;
    }
    if (chosenName == currentName && record.nPort == currentPort) {
        CloseDlg();
        return;
    }

    // Switching away from a card in use: ask first. The plug-ins of the new
    // card are reloaded later, driven by the SDK's device-change events.
    const int reply = CommonUtils::ShowMessage(
        QMessageBox::Question, m_pChooseDlg, caption, question, frameText("IDS_YES"),
        frameText("IDS_NO"), QString(), true, Qt::WindowCloseButtonHint, nullptr, QString(), true);
    if (reply == kReplyYes)
        m_pUILogic->SelectDevice(record);
    CloseDlg();
}

void ChooseDevice::ReloadPlugins(QString deviceName, bool bForce)
{
    DM_DEBUG("%s: %s: %s: entered", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_DEBUG("%s:,%s: %s: plugin container is null",
                 DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    if (container->IsNeedReload(deviceName) == 0 && !bForce) {
        DM_DEBUG("%s:,%s: %s: don't need to reload", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }

    m_lstChangedPlugins.clear();
    m_lstUnloadPlugins.clear();
    container->GetReloadPlugins(deviceName, m_lstChangedPlugins, m_lstUnloadPlugins);

    // The receivers share our process and read both lists during the
    // notification, before anything is unloaded.
    BroadCastNotify(NTF_PLUGINS_RELOADING, reinterpret_cast<NotifyParam>(&m_lstChangedPlugins),
                    reinterpret_cast<NotifyParam>(&m_lstUnloadPlugins));

    const QStringList unload = m_lstUnloadPlugins;
    for (const QString& plugin : unload) {
        qDebug() << " unRegisterFormPluginContainer Plugin: " << plugin;
        container->unRegisterFormPluginContainer(plugin);
    }
    for (const QString& plugin : unload) {
        qDebug() << "Unloading Plugin: " << plugin;
        container->UnloadPlugin(plugin);
        container->LoadPlugin(plugin);
    }
}

void ChooseDevice::BroadCastNotify(unsigned int code, NotifyParam wParam, NotifyParam lParam)
{
    DM_DEBUG("%s: %s: %s: called", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_DEBUG("%s: %s: %s: Startup::GetPluginContainer() returned null ",
                 DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    QObject* plugin = container->GetPlugin(QString::fromLatin1(LinkPlugins::NotifyClsid),
                                           LinkPlugins::NotifyInterface);
    if (!plugin) {
        DM_DEBUG("%s: %s: %s: GetPlugin (NOTIFY_PLUGIN) returned NULL",
                 DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    auto* notify = qobject_cast<INotifyService*>(plugin);
    if (!notify) {
        DM_DEBUG("%s: %s: %s: Notify object is null", DM_TRACE_ARGS(DeviceMgrTrace::ChooserFile));
        return;
    }
    notify->BroadcastNotify(code, wParam, lParam);
}
