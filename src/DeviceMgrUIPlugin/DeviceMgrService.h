// The device manager's controller: one object per process, on the GUI thread.
// It takes in SDK events, keeps the device and SIM state, drives the PIN
// dialogs, shows the information pop-up, sends notifications and carries out
// the IDeviceMgr operations. Its implementation is split by concern:
//   DeviceMgrService.cpp         lifecycle and event intake
//   DeviceMgrServiceState.cpp    device state handling and host notifications in
//   DeviceMgrServiceInfo.cpp     information pop-up and notifications out
//   DeviceMgrServicePin.cpp      PIN workflow
//   DeviceMgrServiceDialogs.cpp  PIN dialogs
//   DeviceMgrServiceRadio.cpp    radio, offline and power control
//   DeviceMgrServiceFP.cpp       fingerprint prompt
//   DeviceMgrServiceLastUsed.cpp last used device record
#pragma once

#include "DeviceMgrUILogic.h"

#include <PluginInterfaces.h>

#include "LineEdit.h"
#include "SimDlg.h"
#include <QMutex>

#include <DeviceMgrContract.h>
#include <ExtendDialog.h>

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QString>
#include <QVBoxLayout>
#include <QWidget>

#include <atomic>

class ChooseDevice;
class DevCheckFPThread;
class DeviceMgrWin7Thread;
class IMainMenuUI;
class IPluginContainer;
class QCloseEvent;
class QTimer;

class CDeviceMgrService : public QObject, public IDeviceMgr
{
    Q_OBJECT
    Q_INTERFACES(IDeviceMgr)

public:
    static CDeviceMgrService* instance();
    static void Destroy();
    // The singleton if it exists, without creating it (for tests and the
    // plug-in object).
    static CDeviceMgrService* existingInstance() { return m_pInstance; }

    int Init();
    void OnDestroy();
    void unSDKRegisterEvent();
    int ShowWindow(QWidget* parent);
    int Notify(unsigned int type, NotifyParam wParam, NotifyParam lParam);

    // SDK callbacks (called on the SDK's thread).
    static int OnDeviceMgrInitEvent(int event, void* data);
    static int OnDevMgrEventsCB(int event, void* data);
    void OnMyDeviceMgrInitEventHandler(int event);

    // IDeviceMgr
    int VerifyPIN() override;
    int EnablePIN() override;
    int DisablePIN() override;
    int UnlockPIN() override;
    int ModifyPIN() override;
    int EnableRF() override;
    int DisableRF() override;
    int SetOffline() override;
    int DetatchGPRS() override;
    void ShowChooseDevice() override;
    bool IsDeviceAvialable() override;
    bool IsValidSim() override;
    void StartDetectDevice() override;
    QString GetLastUsedDeviceName() override;

    // Information pop-up and notifications out
    int createInfoDlg();
    void showInfoDlg(QString& text, int ms);
    void hideInfoDlg();
    void closeAllPopups(bool closeChooser);
    void closePinDlg();
    void sendNotification(unsigned int code);
    void subscribeCallNotification();

    // PIN workflow
    void checkPINWithWin7();
    void checkPIN();
    void launchPinDlg(E_DEVMGR_PIN_STATE state);
    void launchSpecificPinDlg(E_DEVMGR_PIN_STATE state);
    void processPINPUK();
    void showPINDlg();
    void showVerifyPINDlg();
    void displaySuccessMsgBoxPINOkButtonClicked();
    void displayFailureMsgBoxPINOkButtonClicked();
    void modifyPinModOkButtonClicked(QString& oldPin, QString& newPin);
    // A new PUK dialog, in state 4 and its initial state (the last PIN try
    // is gone); false when it could not be made.
    bool openPukDialogInInitialState();

    // PIN dialogs
    int createVerifyPINDlg();
    int createPINDlg();
    int createPUKDlg();
    int createInternalPUKLayouts();
    int createModifyDlg();
    int setTextCreateModifyDlg();
    int setButtonsCreateModifyDlg();
    void setDlgToInitialState();
    void setDlgToInitialStateVerifyPin();
    void setDlgToInitialStatePinVerify();
    void setDlgToInitialStateUnlockPin();
    void setDlgToInitialStateModifyPin();
    void processTextEditedUnlockPin();
    void processTextEditedModifyPin();
    void changeLangVerifyPinDlg();
    void changeLangPinDlg();
    void changeLangModifyPinDlg();
    void changeLangPukDlg();

    // Device state handling
    void deviceMgrEventSwich(bool showMessage);
    void handleDevDetectEvent();
    void handleDevChangeEvent();
    void handleSIMStateChangeEvent();
    void InitOnMainFrameShow();
    void showInvalidSimMsg();
    void refreshProductType();
    void handleInitSuccess();
    void handleInitFinish();
    void handleInitReset();
    void handleFrameShown();

    // Radio
    void initMainMenuObj();

    // Fingerprint
    int createFPDlg();
    void handleFPVerifyEvent();
    void ChangePrompt(_UTPS_EN_VERIFYINDSTATE state);
    // The same for the raw word of a verify event, which may hold any value:
    // only the enumeration's own values may become one.
    void ChangePrompt(unsigned int state);
    void FPLockOnDialogClose();

    // Last used device
    QString getUserDataDirectory();

    // The service's own texts: the key translated in "DeviceMgrUIPlugin".
    static QString tr(const QString& key);

    // Read-only state, for the host and for tests.
    bool frameShown() const { return m_bFrameShown; }
    bool deviceAvailable() const { return m_bDeviceAvialable; }
    bool validSim() const { return m_bValidSim; }
    bool validPinState() const { return m_bValidPinState; }
    bool fpLockPending() const { return m_bFPLockPending; }
    bool callActive() const { return m_bCallActive; }
    bool initialising() const { return m_bInitialising; }
    bool shuttingDown() const { return m_bShuttingDown.load(std::memory_order_relaxed); }
    unsigned int simStateWord() const { return m_uSimStateWord.load(std::memory_order_relaxed); }
    unsigned int fpVerifyWord() const { return m_uFPVerifyWord.load(std::memory_order_relaxed); }
    int lastSwRFState() const { return m_nLastSwRFState; }
    E_DEVMGR_PIN_STATE pinState() const { return m_ePinState; }
    E_DEVMGR_PIN_STATE reportedPinState() const { return m_eReportedPinState; }
    int pinStatus() const { return m_nPinStatus; }
    QString currentDeviceName() const { return m_strCurDeviceName; }
    int currentProductType() const { return m_nCurProductType; }
    QString previousDeviceName() const { return m_strPrevDeviceName; }
    int previousProductType() const { return m_nPrevProductType; }
    QWidget* parentWidget() const { return m_pParentWidget; }
    DeviceMgrUILogic* uiLogic() const { return m_pUILogic; }
    ExtendDialog* infoDialog() const { return m_pdialogInfoDlg; }
    SimDlg* verifyPinDialog() const { return m_pdialogVerifyPINDlg; }
    ExtendDialog* pinDialog() const { return m_pdialogPINDlg; }
    SimDlg* pukDialog() const { return m_pdialogPUKDlg; }
    ExtendDialog* modifyDialog() const { return m_pdialogModifyDlg; }
    ExtendDialog* fpDialog() const { return m_pdialogFPInfoDlg; }
    ChooseDevice* chooser() const { return m_pDlgChooseDev; }
    DeviceMgrWin7Thread* win7Thread() const { return m_pWin7Thread; }
    DevCheckFPThread* fpThread() const { return m_pFPThread; }
    QTimer* infoTimer() const { return m_pTimer; }

signals:
    void signalDeviceMgrInitEventHandler(qint32 event);
    void signalDeviceMgrEventHandler(qint32 event);
    void signalAboutToClose();
    void signalRFSwitch(uint hwstate, uint swstate);
    void signalUpdateChooseDevice();
    void PowerMgrEvent(int event);
    void signalFplockOnmainframelaunched();
    void signalSIMframelaunched();

public slots:
    void appQuitStop();
    void onTextEdited(QString text);
    void onVerifyPINOkButtonClicked();
    void onPINOkButtonClicked();
    void onPUKOkButtonClicked();
    void onModOkButtonClicked();
    void deviceMgrInitEventHandler(qint32 event);
    void deviceMgrEventHandler(qint32 event);
    void onCancelButtonClicked();
    void releaseData();
    void onTimerOut();
    void onFPTimerOut();
    void handleFPLockOnFramelaunchedEvent();
    void handleSIMOnFramelaunchedEvent();
    void onCloseDialog(QCloseEvent* event);
    void OnPowerMgr(int event);
    void showVerifyPinContextMenu(QPoint point);
    void showPinContextMenu(QPoint point);
    void showCurrPinContextMenu(QPoint point);
    void showNewPinContextMenu(QPoint point);
    void showConfirmPinContextMenu(QPoint point);
    void showPUKContextMenu(QPoint point);
    void showPINPUKContextMenu(QPoint point);
    void showConfirmPUKContextMenu(QPoint point);
    void onDeviceInitFinishHandler();
    void onPinStateChanged(E_DEVMGR_PIN_STATE penStatus);
    void onSignalRFSwitch(uint hwstate, uint swstate);
    void onUpdateChooseDevice();

private:
    // The device list of a device-list event, handed to the GUI thread by
    // value: the access layer's list is only ever written there.
    void takeDeviceList(const _UTPS_ST_MULTI_DEVICE_INFO* list);
    void applyDeviceList(_UTPS_ST_MULTI_DEVICE_INFO* list);
    // The GUI thread took up one queued device-manager event (the bound on
    // how many the SDK's thread may queue).
    static void noteEventTakenUp();

    CDeviceMgrService();
    ~CDeviceMgrService() override;
    // Clears the information pop-up's pointers (not its timer, which the
    // service keeps) once the dialog is gone or about to go.
    void forgetInfoDlg();

    static CDeviceMgrService* m_pInstance;
    // The pointer the SDK callbacks use; set by Init.
    static std::atomic<CDeviceMgrService*> m_pCallbackInstance;

    // Words shared with the SDK's thread (relaxed atomics: single words that
    // the GUI thread reads after the queued signal).
    std::atomic<bool> m_bShuttingDown{false};
    std::atomic<unsigned int> m_uSimStateWord{0};
    std::atomic<unsigned int> m_uFPVerifyWord{256};

    int m_nLastSwRFState = -1;
    E_DEVMGR_PIN_STATE m_eReportedPinState = DEVMGR_PIN_READY;
    ChooseDevice* m_pDlgChooseDev = nullptr;
    IMainMenuUI* m_pMainMenu = nullptr;
    DeviceMgrUILogic* m_pUILogic = nullptr;
    IPluginContainer* m_pPluginContainer = nullptr;
    DeviceMgrWin7Thread* m_pWin7Thread = nullptr;
    int m_nPinStatus = 8;
    QPointer<QWidget> m_pParentWidget;

    // The dialogs and their parts. Held by QPointer: a dialog may be deleted
    // by its parent window or by anyone else, and the pointers to it and to
    // everything in it then clear themselves.

    // Information pop-up
    QPointer<ExtendDialog> m_pdialogInfoDlg;
    QPointer<QWidget> m_pwidgetInfoDlg;
    QPointer<QLabel> m_plabelInfoLabel;
    QPointer<QVBoxLayout> m_playoutVBox;
    QTimer* m_pTimer = nullptr;

    // Enter-PIN dialog
    QPointer<SimDlg> m_pdialogVerifyPINDlg;
    QPointer<QLabel> m_plabelVerifyPINTimes;
    QPointer<QLabel> m_plabelVerifyPIN;
    QPointer<LineEdit> m_peditVerifyPINText;
    QPointer<QPushButton> m_pbuttonVerifyPINOK;
    QPointer<QPushButton> m_pbuttonVerifyPINCancel;

    // Fingerprint prompt
    QPointer<ExtendDialog> m_pdialogFPInfoDlg;
    QPointer<QWidget> m_pwidgetFPInfoDlg;
    QPointer<QLabel> m_plabelFPInfoLabel;
    QPointer<QVBoxLayout> m_pFPlayoutVBox;
    QTimer* m_pFPTimer = nullptr;
    std::atomic<bool> m_bFPLockPending{false};
    std::atomic<DevCheckFPThread*> m_pFPThread{nullptr};

    // Enable/disable PIN dialog
    QPointer<ExtendDialog> m_pdialogPINDlg;
    QPointer<QLabel> m_plabelPINTimes;
    QPointer<QLabel> m_plabelPIN;
    QPointer<LineEdit> m_peditPINText;
    QPointer<QPushButton> m_pbuttonPINOK;
    QPointer<QPushButton> m_pbuttonPINCancel;

    // Change-PIN dialog
    QPointer<ExtendDialog> m_pdialogModifyDlg;
    QPointer<QLabel> m_plabelCurrPIN;
    QPointer<QLabel> m_plabelNewPIN;
    QPointer<QLabel> m_plabelConfirmPIN;
    QPointer<LineEdit> m_peditCurrPINText;
    QPointer<LineEdit> m_peditNewPINText;
    QPointer<LineEdit> m_peditConfirmNewPINText;
    QPointer<QLabel> m_plabelModTimes;
    QPointer<QPushButton> m_pbuttonModOK;
    QPointer<QPushButton> m_pbuttonModCancel;

    // PUK dialog
    QPointer<SimDlg> m_pdialogPUKDlg;
    QPointer<QLabel> m_plabelPUK;
    QPointer<QLabel> m_plabelPUKNewPIN;
    QPointer<QLabel> m_plabelPUKConfirmPIN;
    QPointer<LineEdit> m_peditPUKText;
    QPointer<LineEdit> m_peditPUKPINText;
    QPointer<LineEdit> m_peditConfirmPUKPINText;
    QPointer<QLabel> m_plabelPUKTimes;
    QPointer<QPushButton> m_pbuttonPUKOK;
    QPointer<QPushButton> m_pbuttonPUKCancel;

    bool m_bInitialising = false;
    bool m_bFrameShown = false;
    bool m_bDeviceAvialable = false;
    bool m_bValidSim = true;
    bool m_bValidPinState = false;
    bool m_bCallActive = false;
    // Set while a message box of the service is on screen.
    bool m_bMsgBoxShown = false;
    QString m_strCurDeviceName;
    int m_nCurProductType = 3;
    QString m_strPrevDeviceName;
    int m_nPrevProductType = 3;
    QMutex m_mutexGuard;
    // Set when the main frame was shown while the card was fingerprint-locked:
    // main-frame initialisation then waits for the unlock.
    bool m_bInitOnFrameShowPending = false;
    bool m_bSecondRequest = false;

    E_DEVMGR_PIN_STATE m_ePinState = DEVMGR_PIN_READY;
};
