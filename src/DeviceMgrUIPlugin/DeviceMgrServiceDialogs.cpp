// The four PIN dialogs: building them, putting them back into their initial
// state between attempts, enabling OK as the user types, relabelling them on
// a language change, and the context menus of their fields. What OK and
// Cancel do is the PIN workflow's (DeviceMgrServicePin.cpp).
#include "DeviceMgrService.h"
#include "DeviceMgrTrace.h"
#include "LineEdit.h"
#include "SimDlg.h"

#include <CommonUtils.h>
#include <ExtendDialog.h>

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPoint>
#include <QPushButton>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

namespace {

constexpr const char* kFile = DeviceMgrTrace::ServiceFile;

constexpr int kMinPinLength = 4;
constexpr int kPukLength = 8;
constexpr int kMaxSecretLength = 8;

constexpr int kSingleFieldDlgWidth = 320;
constexpr int kSingleFieldDlgHeight = 170;
constexpr int kSingleFieldWidth = 230;
constexpr int kThreeFieldDlgWidth = 300;
constexpr int kThreeFieldDlgHeight = 200;
constexpr int kThreeFieldWidth = 105;
constexpr int kFieldHeight = 20;
constexpr int kSideMargin = 30;
constexpr int kSpacing = 15;
// The labels of the three-field dialogs share one width so that their fields
// line up.
constexpr int kRowLabelWidth = 140;

const Qt::WindowFlags kPinDlgFlags = Qt::Dialog | Qt::WindowCloseButtonHint;

// The plug-in's own text for `key` (QString overload on purpose: the
// const char* one of the meta-object would bypass the host's translator).
QString text(const char* key)
{
    return CDeviceMgrService::tr(QString::fromLatin1(key));
}

// The tries label: the translated text up to its first "%d", then the count.
// Whatever the translation has after "%d" is dropped.
QString triesText(const char* key, int count)
{
    if (count == -1)
        return text("IDS_MAINFRM_UNKNOWN");
    const QString pattern = text(key);
    const int cut = pattern.indexOf(QLatin1String("%d"));
    return (cut >= 0 ? pattern.left(cut) : pattern) + QString::number(count);
}

// Digits only, at most eight, never shown, and a context menu of its own.
void setUpSecretField(LineEdit* field, const char* objectName, int width)
{
    field->setObjectName(QString::fromLatin1(objectName));
    auto* validator =
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]{1,8}")), field);
    field->setValidator(validator);
    field->setMaxLength(kMaxSecretLength);
    field->setEchoMode(QLineEdit::Password);
    field->setContextMenuPolicy(Qt::CustomContextMenu);
    field->setFixedSize(width, kFieldHeight);
    field->RightClickActions();
}

QLabel* makeLabel(QWidget* parent, const char* objectName)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(objectName));
    return label;
}

QPushButton* makeButton(QWidget* parent, const char* objectName, const char* key)
{
    auto* button = new QPushButton(parent);
    button->setObjectName(QString::fromLatin1(objectName));
    button->setText(text(key));
    return button;
}

// OK is usable once the rule holds; it then also answers the Return key.
void setOkState(QPushButton* ok, bool usable)
{
    ok->setEnabled(usable);
    if (usable)
        ok->setDefault(true);
}

// The frame of the single-field dialogs: tries, prompt, field, then OK and
// Cancel side by side.
void layOutSingleField(QWidget* content, QLabel* tries, QLabel* prompt, LineEdit* field,
                       QPushButton* ok, QPushButton* cancel)
{
    // The prompt is a sentence; it wraps inside the fixed width.
    prompt->setWordWrap(true);
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(kSideMargin, 0, kSideMargin, 0);
    column->setSpacing(kSpacing);
    column->addWidget(tries);
    column->addWidget(prompt);
    column->addWidget(field);
    auto* buttons = new QHBoxLayout();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    column->addLayout(buttons);
}

QHBoxLayout* labelledRow(QLabel* label, LineEdit* field)
{
    auto* row = new QHBoxLayout();
    label->setFixedWidth(kRowLabelWidth);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    row->addWidget(label);
    row->addWidget(field);
    row->addStretch();
    return row;
}

void resetFields(std::initializer_list<LineEdit*> fields)
{
    for (LineEdit* field : fields)
        field->clear();
}

} // namespace

int CDeviceMgrService::createVerifyPINDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    auto* dialog = new SimDlg(nullptr, kPinDlgFlags, WIDGET_TYPE_NORMAL);
    auto* content = new QWidget(dialog);
    auto* tries = makeLabel(content, "DeviceMgrUI_VerifyPINTimes");
    auto* prompt = makeLabel(content, "DeviceMgrUI_VerifyPIN");
    auto* field = new LineEdit(content);
    auto* ok = makeButton(content, "DeviceMgrUI_VerifyPINO", "IDS_MAINFRM_OK_PROMPT");
    auto* cancel = makeButton(content, "DeviceMgrUI_VerifyPINCancel", "IDS_MAINFRM_CANCEL_PROMPT");
    if (!dialog || !content || !tries || !prompt || !field || !ok || !cancel) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    dialog->setObjectName(QStringLiteral("DeviceMgrUI_VerifyPINDlg"));
    content->setObjectName(QStringLiteral("DeviceMgrUI_widgetVerifyPINDlg"));
    dialog->m_bAskOnClose = true;
    dialog->m_bOkCancelButtons = false;
    dialog->setFixedSize(kSingleFieldDlgWidth, kSingleFieldDlgHeight);
    dialog->setWindowTitle(text("IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT"));
    prompt->setText(text("IDS_MAINFRM_INPUT_PIN_PROMPT"));
    setUpSecretField(field, "DeviceMgrUI_VerifyeditPINText", kSingleFieldWidth);
    ok->setEnabled(false);
    const int left = m_pUILogic ? m_pUILogic->GetPINRetryTimes() : -1;
    tries->setText(triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", left));
    layOutSingleField(content, tries, prompt, field, ok, cancel);
    dialog->AddMainWidget(content);

    m_pdialogVerifyPINDlg = dialog;
    m_plabelVerifyPINTimes = tries;
    m_plabelVerifyPIN = prompt;
    m_peditVerifyPINText = field;
    m_pbuttonVerifyPINOK = ok;
    m_pbuttonVerifyPINCancel = cancel;

    connect(field, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(ok, SIGNAL(clicked()), this, SLOT(onVerifyPINOkButtonClicked()));
    connect(cancel, SIGNAL(clicked()), this, SLOT(onCancelButtonClicked()));
    connect(dialog, SIGNAL(closeEvent(QCloseEvent*)), this, SLOT(onCloseDialog(QCloseEvent*)));
    connect(field, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showVerifyPinContextMenu(QPoint)));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::createPINDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    auto* dialog = new ExtendDialog(m_pParentWidget, kPinDlgFlags, WIDGET_TYPE_NORMAL);
    auto* content = new QWidget(dialog);
    auto* tries = makeLabel(content, "DeviceMgrUI_m_plabelPINTimes");
    auto* prompt = makeLabel(content, "DeviceMgrUI_dialogInfoDlg");
    auto* field = new LineEdit(content);
    auto* ok = makeButton(content, "DeviceMgrUI_dialogInfoDlg", "IDS_MAINFRM_OK_PROMPT");
    auto* cancel = makeButton(content, "DeviceMgrUI_dialogInfoDlg", "IDS_MAINFRM_CANCEL_PROMPT");
    if (!dialog || !content || !tries || !prompt || !field || !ok || !cancel) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    dialog->setObjectName(QStringLiteral("DeviceMgrUI_m_pdialogPINDlg"));
    content->setObjectName(QStringLiteral("DeviceMgrUI_widgetPINDlg"));
    dialog->setFixedSize(kSingleFieldDlgWidth, kSingleFieldDlgHeight);
    dialog->setWindowTitle(text("IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT"));
    prompt->setText(text("IDS_MAINFRM_INPUT_PIN_PROMPT"));
    setUpSecretField(field, "DeviceMgrUI_dialogInfoDlg", kSingleFieldWidth);
    ok->setEnabled(false);
    const int left = m_pUILogic ? m_pUILogic->GetPINRetryTimes() : -1;
    tries->setText(triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", left));
    layOutSingleField(content, tries, prompt, field, ok, cancel);
    dialog->AddMainWidget(content);

    m_pdialogPINDlg = dialog;
    m_plabelPINTimes = tries;
    m_plabelPIN = prompt;
    m_peditPINText = field;
    m_pbuttonPINOK = ok;
    m_pbuttonPINCancel = cancel;

    connect(field, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(ok, SIGNAL(clicked()), this, SLOT(onPINOkButtonClicked()));
    connect(cancel, SIGNAL(clicked()), this, SLOT(onCancelButtonClicked()));
    connect(dialog, SIGNAL(closeEvent(QCloseEvent*)), this, SLOT(onCloseDialog(QCloseEvent*)));
    connect(field, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showPinContextMenu(QPoint)));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::createPUKDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    auto* dialog = new SimDlg(nullptr, kPinDlgFlags, WIDGET_TYPE_NORMAL);
    auto* content = new QWidget(dialog);
    if (!dialog || !content) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    dialog->setObjectName(QStringLiteral("DeviceMgrUI_dialogPUKDlg"));
    content->setObjectName(QStringLiteral("DeviceMgrUI_widgetPUKDlg"));
    dialog->m_bAskOnClose = true;
    dialog->m_bOkCancelButtons = true;
    dialog->setFixedSize(kThreeFieldDlgWidth, kThreeFieldDlgHeight);
    dialog->setWindowTitle(text("IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT"));
    // The content widget goes in first: the fields are built inside it.
    dialog->AddMainWidget(content);
    m_pdialogPUKDlg = dialog;

    if (createInternalPUKLayouts() != 0) {
        m_pdialogPUKDlg = nullptr;
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    connect(m_peditPUKText, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(m_peditPUKPINText, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(m_peditConfirmPUKPINText, SIGNAL(textEdited(QString)), this,
            SLOT(onTextEdited(QString)));
    connect(m_pbuttonPUKOK, SIGNAL(clicked()), this, SLOT(onPUKOkButtonClicked()));
    connect(m_pbuttonPUKCancel, SIGNAL(clicked()), this, SLOT(onCancelButtonClicked()));
    connect(dialog, SIGNAL(closeEvent(QCloseEvent*)), this, SLOT(onCloseDialog(QCloseEvent*)));
    connect(m_peditPUKText, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showPUKContextMenu(QPoint)));
    connect(m_peditPUKPINText, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showPINPUKContextMenu(QPoint)));
    connect(m_peditConfirmPUKPINText, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showConfirmPUKContextMenu(QPoint)));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::createInternalPUKLayouts()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    QWidget* content = m_pdialogPUKDlg ? m_pdialogPUKDlg->MainWidget() : nullptr;
    if (!content) {
        DM_WARNING("%s : %s : %s : , Widget creation error occured", DM_TRACE_ARGS(kFile));
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    auto* pukLabel = makeLabel(content, "DeviceMgrUI_labelPUK");
    auto* newLabel = makeLabel(content, "DeviceMgrUI_labelNewPIN");
    auto* confirmLabel = makeLabel(content, "DeviceMgrUI_labelConfirmPIN");
    auto* puk = new LineEdit(content);
    auto* newPin = new LineEdit(content);
    auto* confirm = new LineEdit(content);
    auto* tries = makeLabel(content, "DeviceMgrUI_labelPUKTimes");
    auto* ok = makeButton(content, "DeviceMgrUI_buttonPUKOK", "IDS_MAINFRM_OK_PROMPT");
    auto* cancel = makeButton(content, "DeviceMgrUI_buttonPUKCancel", "IDS_MAINFRM_CANCEL_PROMPT");
    if (!pukLabel || !newLabel || !confirmLabel || !puk || !newPin || !confirm || !tries || !ok ||
        !cancel) {
        DM_WARNING("%s : %s : %s : , Widget creation error occured", DM_TRACE_ARGS(kFile));
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    pukLabel->setText(text("IDS_MAINFRM_INPUT_PUK_PROMPT"));
    newLabel->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT"));
    confirmLabel->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"));
    setUpSecretField(puk, "DeviceMgrUI_editPUKText", kThreeFieldWidth);
    setUpSecretField(newPin, "DeviceMgrUI_editPUKPINText", kThreeFieldWidth);
    setUpSecretField(confirm, "DeviceMgrUI_editConfirmPUKPINText", kThreeFieldWidth);
    ok->setEnabled(false);
    const int left = m_pUILogic ? m_pUILogic->GetPUKRetryTimes() : -1;
    tries->setText(triesText("IDS_MAINFRM_PUK_REMAIN_PROMPT", left));

    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(kSideMargin, 0, kSideMargin, 0);
    column->addWidget(tries);
    column->addLayout(labelledRow(pukLabel, puk));
    column->addLayout(labelledRow(newLabel, newPin));
    column->addLayout(labelledRow(confirmLabel, confirm));
    auto* buttons = new QHBoxLayout();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    column->addLayout(buttons);

    m_plabelPUK = pukLabel;
    m_plabelPUKNewPIN = newLabel;
    m_plabelPUKConfirmPIN = confirmLabel;
    m_peditPUKText = puk;
    m_peditPUKPINText = newPin;
    m_peditConfirmPUKPINText = confirm;
    m_plabelPUKTimes = tries;
    m_pbuttonPUKOK = ok;
    m_pbuttonPUKCancel = cancel;
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::createModifyDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    auto* dialog = new ExtendDialog(m_pParentWidget, kPinDlgFlags, WIDGET_TYPE_NORMAL);
    auto* content = new QWidget(dialog);
    if (!dialog || !content) {
        DM_DEBUG("%s: %s: %s: , Memory allocation failed", DM_TRACE_ARGS(kFile));
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    dialog->setObjectName(QStringLiteral("DeviceMgrUI_dialogModifyDlg"));
    content->setObjectName(QStringLiteral("DeviceMgrUI_widgetModifyDlg"));
    dialog->setFixedSize(kThreeFieldDlgWidth, kThreeFieldDlgHeight);
    dialog->setWindowTitle(text("IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT"));
    dialog->AddMainWidget(content);
    m_pdialogModifyDlg = dialog;

    if (setTextCreateModifyDlg() != 0 || setButtonsCreateModifyDlg() != 0) {
        m_pdialogModifyDlg = nullptr;
        delete dialog;
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::setTextCreateModifyDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    QWidget* content = m_pdialogModifyDlg ? m_pdialogModifyDlg->MainWidget() : nullptr;
    if (!content) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    auto* currLabel = makeLabel(content, "DeviceMgrUI_labelCurrPIN");
    auto* newLabel = makeLabel(content, "DeviceMgrUI_labelNewPIN");
    auto* confirmLabel = makeLabel(content, "DeviceMgrUI_labelConfirmPIN");
    auto* curr = new LineEdit(content);
    auto* newPin = new LineEdit(content);
    auto* confirm = new LineEdit(content);
    auto* tries = makeLabel(content, "DeviceMgrUI_labelModTimes");
    if (!currLabel || !newLabel || !confirmLabel || !curr || !newPin || !confirm || !tries) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return DEVMGR_RESULT_UNAVAILABLE;
    }

    currLabel->setText(text("IDS_MAINFRM_INPUT_OLD_PIN_PROMPT"));
    newLabel->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT"));
    confirmLabel->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"));
    setUpSecretField(curr, "DeviceMgrUI_editCurrPINText", kThreeFieldWidth);
    setUpSecretField(newPin, "DeviceMgrUI_editNewPINText", kThreeFieldWidth);
    setUpSecretField(confirm, "DeviceMgrUI_editConfirmNewPINText", kThreeFieldWidth);
    const int left = m_pUILogic ? m_pUILogic->GetPINRetryTimes() : -1;
    tries->setText(triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", left));

    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(kSideMargin, 0, kSideMargin, 0);
    column->addWidget(tries);
    column->addLayout(labelledRow(currLabel, curr));
    column->addLayout(labelledRow(newLabel, newPin));
    column->addLayout(labelledRow(confirmLabel, confirm));

    m_plabelCurrPIN = currLabel;
    m_plabelNewPIN = newLabel;
    m_plabelConfirmPIN = confirmLabel;
    m_peditCurrPINText = curr;
    m_peditNewPINText = newPin;
    m_peditConfirmNewPINText = confirm;
    m_plabelModTimes = tries;

    connect(curr, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(newPin, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(confirm, SIGNAL(textEdited(QString)), this, SLOT(onTextEdited(QString)));
    connect(curr, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showCurrPinContextMenu(QPoint)));
    connect(newPin, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showNewPinContextMenu(QPoint)));
    connect(confirm, SIGNAL(customContextMenuRequested(QPoint)), this,
            SLOT(showConfirmPinContextMenu(QPoint)));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

int CDeviceMgrService::setButtonsCreateModifyDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    QWidget* content = m_pdialogModifyDlg ? m_pdialogModifyDlg->MainWidget() : nullptr;
    auto* column = content ? qobject_cast<QVBoxLayout*>(content->layout()) : nullptr;
    if (!column) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    auto* ok = makeButton(content, "DeviceMgrUI_buttonModOK", "IDS_MAINFRM_OK_PROMPT");
    auto* cancel = makeButton(content, "DeviceMgrUI_buttonModCancel", "IDS_MAINFRM_CANCEL_PROMPT");
    if (!ok || !cancel) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return DEVMGR_RESULT_UNAVAILABLE;
    }
    ok->setEnabled(false);
    auto* buttons = new QHBoxLayout();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    column->addLayout(buttons);
    m_pbuttonModOK = ok;
    m_pbuttonModCancel = cancel;

    connect(ok, SIGNAL(clicked()), this, SLOT(onModOkButtonClicked()));
    connect(cancel, SIGNAL(clicked()), this, SLOT(onCancelButtonClicked()));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
    return 0;
}

void CDeviceMgrService::setDlgToInitialState()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    switch (m_ePinState) {
    case DEVMGR_PIN_VERIFY:
        setDlgToInitialStateVerifyPin();
        break;
    case DEVMGR_PIN_ENABLE:
    case DEVMGR_PIN_DISABLE:
        setDlgToInitialStatePinVerify();
        break;
    case DEVMGR_UNLOCK_PIN:
        setDlgToInitialStateUnlockPin();
        break;
    case DEVMGR_PIN_MODIFY:
        setDlgToInitialStateModifyPin();
        break;
    default:
        break;
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::setDlgToInitialStateVerifyPin()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogVerifyPINDlg || !m_pUILogic || !m_peditVerifyPINText || !m_pbuttonVerifyPINOK ||
        !m_plabelVerifyPINTimes) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    m_peditVerifyPINText->clear();
    m_pbuttonVerifyPINOK->setEnabled(false);
    m_peditVerifyPINText->setFocus();
    m_plabelVerifyPINTimes->setText(
        triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", m_pUILogic->GetPINRetryTimes()));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::setDlgToInitialStatePinVerify()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPINDlg || !m_pUILogic || !m_peditPINText || !m_pbuttonPINOK ||
        !m_plabelPINTimes) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    m_peditPINText->clear();
    m_pbuttonPINOK->setEnabled(false);
    m_peditPINText->setFocus();
    m_plabelPINTimes->setText(
        triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", m_pUILogic->GetPINRetryTimes()));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::setDlgToInitialStateUnlockPin()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPUKDlg || !m_pUILogic || !m_peditPUKText || !m_peditPUKPINText ||
        !m_peditConfirmPUKPINText || !m_pbuttonPUKOK || !m_plabelPUKTimes) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    resetFields({m_peditPUKText, m_peditPUKPINText, m_peditConfirmPUKPINText});
    m_pbuttonPUKOK->setEnabled(false);
    m_peditPUKText->setFocus();
    m_plabelPUKTimes->setText(
        triesText("IDS_MAINFRM_PUK_REMAIN_PROMPT", m_pUILogic->GetPUKRetryTimes()));
    m_pdialogPUKDlg->show();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::setDlgToInitialStateModifyPin()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogModifyDlg || !m_pUILogic || !m_peditCurrPINText || !m_peditNewPINText ||
        !m_peditConfirmNewPINText || !m_pbuttonModOK || !m_plabelModTimes) {
        DM_DEBUG("Arg is NULL: %s: %s: %s %d", DM_TRACE_ARGS(kFile), __LINE__);
        return;
    }
    resetFields({m_peditCurrPINText, m_peditNewPINText, m_peditConfirmNewPINText});
    m_pbuttonModOK->setEnabled(false);
    m_peditCurrPINText->setFocus();
    m_plabelModTimes->setText(
        triesText("IDS_MAINFRM_PIN_REMAIN_PROMPT", m_pUILogic->GetPINRetryTimes()));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onTextEdited(QString text)
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    switch (m_ePinState) {
    case DEVMGR_PIN_VERIFY:
        if (m_pbuttonVerifyPINOK)
            setOkState(m_pbuttonVerifyPINOK, text.length() >= kMinPinLength);
        break;
    case DEVMGR_PIN_ENABLE:
    case DEVMGR_PIN_DISABLE:
        if (m_pbuttonPINOK)
            setOkState(m_pbuttonPINOK, text.length() >= kMinPinLength);
        break;
    case DEVMGR_UNLOCK_PIN:
        processTextEditedUnlockPin();
        break;
    case DEVMGR_PIN_MODIFY:
        processTextEditedModifyPin();
        break;
    default:
        break;
    }
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::processTextEditedUnlockPin()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_peditPUKText || !m_peditPUKPINText || !m_peditConfirmPUKPINText || !m_pbuttonPUKOK)
        return;
    // Stricter on the PUK (all eight digits) than on the two PINs.
    const bool usable = m_peditPUKText->text().length() >= kPukLength &&
                        m_peditPUKPINText->text().length() >= kMinPinLength &&
                        m_peditConfirmPUKPINText->text().length() >= kMinPinLength;
    setOkState(m_pbuttonPUKOK, usable);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::processTextEditedModifyPin()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_peditCurrPINText || !m_peditNewPINText || !m_peditConfirmNewPINText || !m_pbuttonModOK)
        return;
    const bool usable = m_peditCurrPINText->text().length() >= kMinPinLength &&
                        m_peditNewPINText->text().length() >= kMinPinLength &&
                        m_peditConfirmNewPINText->text().length() >= kMinPinLength;
    setOkState(m_pbuttonModOK, usable);
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::changeLangVerifyPinDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogVerifyPINDlg || !m_plabelVerifyPIN || !m_pbuttonVerifyPINOK ||
        !m_pbuttonVerifyPINCancel)
        return;
    m_pdialogVerifyPINDlg->setWindowTitle(text("IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT"));
    m_plabelVerifyPIN->setText(text("IDS_MAINFRM_INPUT_PIN_PROMPT"));
    m_pbuttonVerifyPINOK->setText(text("IDS_MAINFRM_OK_PROMPT"));
    m_pbuttonVerifyPINCancel->setText(text("IDS_MAINFRM_CANCEL_PROMPT"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::changeLangPinDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPINDlg || !m_pbuttonPINOK || !m_pbuttonPINCancel)
        return;
    if (m_ePinState == DEVMGR_PIN_ENABLE)
        m_pdialogPINDlg->setWindowTitle(text("IDS_MAINFRM_ENABLE_WINDOWSTXT"));
    else if (m_ePinState == DEVMGR_PIN_DISABLE)
        m_pdialogPINDlg->setWindowTitle(text("IDS_MAINFRM_DISABLE_WINDOWSTXT"));
    // The prompt keeps its text until the dialog is built again.
    m_pbuttonPINOK->setText(text("IDS_MAINFRM_OK_PROMPT"));
    m_pbuttonPINCancel->setText(text("IDS_MAINFRM_CANCEL_PROMPT"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::changeLangModifyPinDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogModifyDlg || !m_plabelCurrPIN || !m_plabelNewPIN || !m_plabelConfirmPIN ||
        !m_pbuttonModOK || !m_pbuttonModCancel)
        return;
    m_pdialogModifyDlg->setWindowTitle(text("IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT"));
    m_plabelCurrPIN->setText(text("IDS_MAINFRM_INPUT_OLD_PIN_PROMPT"));
    m_plabelNewPIN->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT"));
    m_plabelConfirmPIN->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"));
    m_pbuttonModOK->setText(text("IDS_MAINFRM_OK_PROMPT"));
    m_pbuttonModCancel->setText(text("IDS_MAINFRM_CANCEL_PROMPT"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::changeLangPukDlg()
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!m_pdialogPUKDlg || !m_plabelPUK || !m_plabelPUKNewPIN || !m_plabelPUKConfirmPIN ||
        !m_pbuttonPUKOK || !m_pbuttonPUKCancel)
        return;
    m_pdialogPUKDlg->setWindowTitle(text("IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT"));
    m_plabelPUK->setText(text("IDS_MAINFRM_INPUT_PUK_PROMPT"));
    m_plabelPUKNewPIN->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT"));
    m_plabelPUKConfirmPIN->setText(text("IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2"));
    m_pbuttonPUKOK->setText(text("IDS_MAINFRM_OK_PROMPT"));
    m_pbuttonPUKCancel->setText(text("IDS_MAINFRM_CANCEL_PROMPT"));
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::onCloseDialog(QCloseEvent* event)
{
    DM_DEBUG("%s : %s : %s : , entered", DM_TRACE_ARGS(kFile));
    if (!event)
        return;
    // While the SIM waits for its PIN or PUK a plain close request is turned
    // down; SimDlg decides for itself whether the close goes through after all.
    if (m_ePinState == DEVMGR_PIN_VERIFY || m_ePinState == DEVMGR_UNLOCK_PIN)
        event->ignore();
    else
        event->accept();
    DM_DEBUG("%s : %s : %s : , Exit", DM_TRACE_ARGS(kFile));
}

void CDeviceMgrService::showVerifyPinContextMenu(QPoint point)
{
    if (m_peditVerifyPINText)
        m_peditVerifyPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showPinContextMenu(QPoint point)
{
    if (m_peditPINText)
        m_peditPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showCurrPinContextMenu(QPoint point)
{
    if (m_peditCurrPINText)
        m_peditCurrPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showNewPinContextMenu(QPoint point)
{
    if (m_peditNewPINText)
        m_peditNewPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showConfirmPinContextMenu(QPoint point)
{
    if (m_peditConfirmNewPINText)
        m_peditConfirmNewPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showPUKContextMenu(QPoint point)
{
    if (m_peditPUKText)
        m_peditPUKText->ShowContextMenu(point);
}

void CDeviceMgrService::showPINPUKContextMenu(QPoint point)
{
    if (m_peditPUKPINText)
        m_peditPUKPINText->ShowContextMenu(point);
}

void CDeviceMgrService::showConfirmPUKContextMenu(QPoint point)
{
    if (m_peditConfirmPUKPINText)
        m_peditConfirmPUKPINText->ShowContextMenu(point);
}
