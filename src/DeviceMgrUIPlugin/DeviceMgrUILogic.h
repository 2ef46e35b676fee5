// The device access layer: the one object that calls the device SDK.
#pragma once

#include <DeviceMgrContract.h>
#include <utps.h>

#include <QObject>
#include <QString>

// The plug-in's PIN state; also names the PIN request to carry out.
enum E_DEVMGR_PIN_STATE
{
    DEVMGR_PIN_READY = 0,
    DEVMGR_PIN_VERIFY = 1,
    DEVMGR_PIN_ENABLE = 2,
    DEVMGR_PIN_DISABLE = 3,
    DEVMGR_UNLOCK_PIN = 4,
    DEVMGR_PIN_BLOCKED = 5,
    DEVMGR_PIN_MODIFY = 6,
};
Q_DECLARE_METATYPE(E_DEVMGR_PIN_STATE)

class DeviceMgrUILogic : public QObject
{
    Q_OBJECT
public:
    static DeviceMgrUILogic* GetInstance();
    ~DeviceMgrUILogic() override;
    void init();

    // Device list and selection
    _UTPS_ST_MULTI_DEVICE_INFO GetDeviceInfo();
    void SetDeviceInfo(_UTPS_ST_MULTI_DEVICE_INFO* pstLocalDeviceinfo);
    void ClearDeviceInfo();
    int SelectDevice(_UTPS_ST_DEVICE_INFO info);
    QString GetDeviceName();
    QString GetCurrentDeviceName();
    int GetCurrentDevicePortNo();
    int GetCurrentDeviceProtocol();
    int GetDeviceStatus(_UTPS_EN_DEVICE_STATUS& enDevStatus);
    int GetSystemDevStatus();
    int GetSimStatus();
    bool isSimValid();
    QString GetSimTypeText();
    void InterruptServers();

    // PIN
    int GetPinStatus(E_DEVMGR_PIN_STATE* penStatus);
    int GetPINRetryTimes();
    int GetPUKRetryTimes();
    bool isPINValid(QString& pin);
    bool isPUKValid(QString& puk);
    int ValidatePINs(QString pin, QString confirmPin);
    int ProcessPIN(QString pin, int& retries, E_DEVMGR_PIN_STATE request);
    int processVerifyPIN(int& retries, QString pin);
    int processEnablePIN(int& retries, QString pin);
    int processDisablePIN(int& retries, QString pin);
    int UnlockPIN(QString puk, QString newPin, int& retries);
    int ModifyPIN(QString oldPin, QString newPin, int& retries);
    void handleEnableDisableErrorCondition();

    // Radio and attach
    int SwitchRFMode(bool on);
    int SetOffline();
    int DetachGPRS();
    bool IsIMSIDetachEnabled();
    bool IsGPRSDetachEnabled();

    // Read-only views of the stored state, for the service and for tests.
    const _UTPS_ST_MULTI_DEVICE_INFO& StoredDeviceInfo() const { return m_stDeviceInfo; }
    int CurrentPort() const { return m_nCurPort; }
    QString StoredCurrentDeviceName() const { return QString::fromLatin1(m_szCurDeviceName); }
    int RetryTimes() const { return m_iRetryTimes; }
    int PinStatus() const { return m_nPinStatus; }

signals:
    void PinStateChanged(E_DEVMGR_PIN_STATE penStatus);

private:
    DeviceMgrUILogic() = default;
    // Up to three reads of the PIN status for the retry counters; the trace
    // lines name `function` and take the PUK wording when `forPuk`. Stores
    // the status and counter of the first answer; false when none came.
    bool readRetryCounter(const char* function, bool forPuk);
    // What an enable or disable request leaves behind: no counter after a
    // success, the re-read state and counter after a refusal.
    void finishProtectionRequest(int result, int& retries);
    // After a refused PIN request: re-reads the PIN state, emits it and
    // returns the refreshed retry counter.
    int reportRefusedRequest();

    static DeviceMgrUILogic* m_pDeviceMgrUILogic;

    int m_iRetryTimes = 0;
    int m_nPinStatus = 0;
    _UTPS_ST_MULTI_DEVICE_INFO m_stDeviceInfo{};
    int m_nCurPort = -1;
    int m_nCurProtocol = 0;
    char m_szCurDeviceName[UTPS_DEVICE_NAME_LEN] = {};
};
