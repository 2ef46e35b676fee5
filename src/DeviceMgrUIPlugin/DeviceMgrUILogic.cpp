// The device access layer: every call into the device SDK goes through here.
#include "DeviceMgrUILogic.h"

#include "DeviceMgrTrace.h"

#include <CommonUtils.h>
#include <IPluginContainer.h>
#include <SiblingInterfaces.h>
#include <Startup.h>

#include <QByteArray>

#include <cstring>

using DeviceMgrTrace::LogicFile;

DeviceMgrUILogic* DeviceMgrUILogic::m_pDeviceMgrUILogic = nullptr;

namespace {

constexpr int kMinPinLen = 4;
constexpr int kMaxPinLen = 8;
constexpr int kPukLen = 8;
// Reads of the PIN status before the retry counters give up.
constexpr int kCounterReads = 3;
// The PIN type the plug-in always passes: the SIM's PIN 1.
constexpr unsigned char kPinType = 0;
// What the SDK reports when it does not know the number of attempts left.
constexpr unsigned char kRetriesUnknown = 255;
// UTPS_DevSrv_ChangePin / UTPS_DevSrv_UnblockPin results.
constexpr int kSdkBadParam = 1;
constexpr int kSdkRefused = -1;

// A PIN or PUK as the SDK takes it: ASCII, at most 8 characters, terminated.
class PinBuffer
{
public:
    explicit PinBuffer(const QString& entry)
    {
        const QByteArray ascii = entry.toLatin1();
        qstrncpy(m_data, ascii.constData(), sizeof m_data);
    }
    const char* get() const { return m_data; }

private:
    char m_data[kMaxPinLen + 1] = {};
};

// Copies at most `maxChars` characters of `src` (which need not be terminated
// within them) into the 128-byte name field, always terminating it.
void copyName(char (&dst)[UTPS_DEVICE_NAME_LEN], const char* src, size_t maxChars)
{
    const size_t limit = qMin(maxChars, sizeof dst - 1);
    const size_t len = strnlen(src, limit);
    std::memcpy(dst, src, len);
    dst[len] = '\0';
}

QString nameOf(const _UTPS_ST_DEVICE_INFO& info)
{
    return QString::fromLatin1(info.szDeviceName,
                               int(strnlen(info.szDeviceName, sizeof info.szDeviceName)));
}

// The SDK's PIN status mapped onto the plug-in's state; false when the status
// carries no state (the caller's value is then left as it was).
bool mapSdkPinStatus(int status, unsigned char flag, E_DEVMGR_PIN_STATE* state)
{
    switch (status) {
    case 1:
    case 8:
        *state = DEVMGR_PIN_READY;
        return true;
    case 2:
        *state = flag == 0 ? DEVMGR_PIN_VERIFY : DEVMGR_PIN_READY;
        return true;
    case 3:
        *state = DEVMGR_UNLOCK_PIN;
        return true;
    case 4:
        *state = DEVMGR_PIN_BLOCKED;
        return true;
    default:
        return false;
    }
}

// One line per read of the retry counters, in the PIN or the PUK wording;
// `function` is the operation that reads.
void traceCounterRead(const char* function, bool forPuk, bool answered, int status, int retries)
{
    const DeviceMgrTrace::Stamp now = DeviceMgrTrace::now();
    const char* time = now.constData();
    if (forPuk && answered)
        DM_DEBUG("<======%s : %s : %s : UTPS_DevSrv_GetPinStatus Success retry %d ", time,
                 LogicFile, function, retries);
    else if (forPuk)
        DM_WARNING("======>%s : %s : %s : UTPS_DevSrv_GetPinStatus Failed retry %d ", time,
                   LogicFile, function, retries);
    else if (answered)
        DM_DEBUG("<===== %s : %s : %s : UTPS_DevSrv_GetPinStatus Success  PinStatus %d retry %d",
                 time, LogicFile, function, status, retries);
    else
        DM_WARNING("=====> %s : %s : %s : UTPS_DevSrv_GetPinStatus Failed  PinStatus %d retry %d",
                   time, LogicFile, function, status, retries);
}

bool settingIsOn(const QString& key)
{
    return CommonUtils::GetSettings(QStringLiteral("customize"), key)
        .contains(QLatin1Char('y'), Qt::CaseInsensitive);
}

} // namespace

DeviceMgrUILogic* DeviceMgrUILogic::GetInstance()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!m_pDeviceMgrUILogic)
        m_pDeviceMgrUILogic = new DeviceMgrUILogic();
    return m_pDeviceMgrUILogic;
}

DeviceMgrUILogic::~DeviceMgrUILogic()
{
    // The service deletes the access layer when it shuts down. A service made
    // afterwards (a reloaded plug-in, the next test) must get a fresh object
    // from GetInstance, not the address of this one.
    if (m_pDeviceMgrUILogic == this)
        m_pDeviceMgrUILogic = nullptr;
}

void DeviceMgrUILogic::init()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    m_iRetryTimes = 0;
    m_nPinStatus = 0;
    // -1: the list has never been read (a cleared list has 0).
    m_stDeviceInfo.nDevNum = -1;
    m_nCurPort = -1;
    m_nCurProtocol = 0;
    m_szCurDeviceName[0] = '\0';
}

// ---------------------------------------------------------------------------
// Device list and selection

_UTPS_ST_MULTI_DEVICE_INFO DeviceMgrUILogic::GetDeviceInfo()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    _UTPS_ST_MULTI_DEVICE_INFO list{};
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetAvailableDeviceList calling", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetAvailableDeviceList(&list) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetAvailableDeviceList returned Error",
                   DM_TRACE_ARGS(LogicFile));
        list.nDevNum = 0;
    } else {
        DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetAvailableDeviceList returned Success",
                 DM_TRACE_ARGS(LogicFile));
    }
    DM_DEBUG("%s : %s : %s : The num of device = %d", DM_TRACE_ARGS(LogicFile), list.nDevNum);
    return list;
}

void DeviceMgrUILogic::SetDeviceInfo(_UTPS_ST_MULTI_DEVICE_INFO* pstLocalDeviceinfo)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!pstLocalDeviceinfo) {
        DM_DEBUG("%s : %s : %s : Input params NULL", DM_TRACE_ARGS(LogicFile));
        return;
    }
    const int count = pstLocalDeviceinfo->nDevNum;
    if (count > MAX_DEVICE_COUNT) {
        DM_DEBUG("%s : %s : %s : Error :pstLocalDeviceinfo->nDevNum > MAX_DEVICE_COUNT",
                 DM_TRACE_ARGS(LogicFile));
        return;
    }
    // A negative count passes the bound and is kept as it is; the loop below
    // then copies nothing.
    m_stDeviceInfo.nDevNum = count;
    for (int i = 0; i < count; ++i) {
        const _UTPS_ST_DEVICE_INFO& src = pstLocalDeviceinfo->stDevInfo[i];
        _UTPS_ST_DEVICE_INFO& dst = m_stDeviceInfo.stDevInfo[i];
        copyName(dst.szDeviceName, src.szDeviceName, UTPS_DEVICE_NAME_LEN);
        dst.nPort = src.nPort;
        dst.nProtocol = src.nProtocol;
    }
    // With several devices the user chooses; a single one is taken at once.
    if (count != 1)
        return;
    const _UTPS_ST_DEVICE_INFO& only = m_stDeviceInfo.stDevInfo[0];
    copyName(m_szCurDeviceName, only.szDeviceName, UTPS_DEVICE_NAME_LEN);
    m_nCurPort = only.nPort;
    m_nCurProtocol = only.nProtocol;
}

void DeviceMgrUILogic::ClearDeviceInfo()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    std::memset(&m_stDeviceInfo, 0, sizeof m_stDeviceInfo);
    m_nCurPort = -1;
    m_nCurProtocol = 0;
    m_szCurDeviceName[0] = '\0';
}

int DeviceMgrUILogic::SelectDevice(_UTPS_ST_DEVICE_INFO info)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    // Compared with what the card reports now, not with the stored selection.
    if (nameOf(info) == GetCurrentDeviceName() && info.nPort == GetCurrentDevicePortNo()) {
        DM_DEBUG("%s : %s : %s : Same Device selected, No change required",
                 DM_TRACE_ARGS(LogicFile));
        return 0;
    }
    InterruptServers();
    info.szDeviceName[UTPS_DEVICE_NAME_LEN - 1] = '\0';
    if (UTPS_DevSrv_ManualChangeDevice(info.szDeviceName, "", info.nPort) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_ManualChangeDevice returned error",
                   DM_TRACE_ARGS(LogicFile));
        return 1;
    }
    copyName(m_szCurDeviceName, info.szDeviceName, UTPS_DEVICE_NAME_LEN);
    m_nCurPort = info.nPort;
    // The protocol is kept: the switch does not report the new one.
    return 0;
}

QString DeviceMgrUILogic::GetDeviceName()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    char buffer[UTPS_SHORT_NAME_LEN] = {};
    QString name;
    if (UTPS_DevSrv_GetDeviceName(buffer) == UTPS_ERROR_SUCCESS)
        name = QString::fromLocal8Bit(buffer, int(strnlen(buffer, sizeof buffer)));
    DM_DEBUG("%s : %s : %s : device name = %s", DM_TRACE_ARGS(LogicFile),
             name.toLocal8Bit().constData());
    return name;
}

QString DeviceMgrUILogic::GetCurrentDeviceName()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    // Asks the card every time: the stored name may be out of date after a
    // switch the SDK made on its own.
    return GetDeviceName();
}

int DeviceMgrUILogic::GetCurrentDevicePortNo()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    int port = 0;
    DM_DEBUG("%s : %s : %s : Calling UTPS_DevSrv_GetDevicePort", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetDevicePort(&port) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDevicePort returned error",
                   DM_TRACE_ARGS(LogicFile));
        port = 0;
    }
    DM_DEBUG("%s : %s : %s : Exit", DM_TRACE_ARGS(LogicFile));
    return port;
}

int DeviceMgrUILogic::GetCurrentDeviceProtocol()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    return m_nCurProtocol;
}

int DeviceMgrUILogic::GetDeviceStatus(_UTPS_EN_DEVICE_STATUS& enDevStatus)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetDevStatus called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetDevStatus(&enDevStatus) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDevStatus returned error",
                   DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_GENERAL_ERROR;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetDevStatus returned success", DM_TRACE_ARGS(LogicFile));
    return DEVMGR_RESULT_SUCCESS;
}

int DeviceMgrUILogic::GetSystemDevStatus()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    _UTPS_EN_DEVICE_STATUS status = DEVICE_STATUS_NO_DEVICE;
    if (UTPS_DevSrv_GetDevStatus(&status) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDevStatus returned error",
                   DM_TRACE_ARGS(LogicFile));
        return 0;
    }
    char name[UTPS_SHORT_NAME_LEN] = {};
    if (UTPS_DevSrv_GetDeviceName(name) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDeviceName returned error",
                   DM_TRACE_ARGS(LogicFile));
        return 0;
    }
    int port = 0;
    if (UTPS_DevSrv_GetDevicePort(&port) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetDevicePort returned error",
                   DM_TRACE_ARGS(LogicFile));
        return 0;
    }
    if (status == DEVICE_STATUS_AVAILABLE) {
        copyName(m_szCurDeviceName, name, UTPS_SHORT_NAME_LEN);
        m_nCurPort = port;
    }
    return status;
}

int DeviceMgrUILogic::GetSimStatus()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    int status = 0;
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetSimStatus calling", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetSimStatus(&status) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetSimStatus returned Error",
                   DM_TRACE_ARGS(LogicFile));
        return 0;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetSimStatus returned Success", DM_TRACE_ARGS(LogicFile));
    DM_DEBUG("%s : %s : %s : The SIM State is %d", DM_TRACE_ARGS(LogicFile), status);
    return status;
}

bool DeviceMgrUILogic::isSimValid()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    int status = 0;
    DM_DEBUG("========> %s : %s : %s : UTPS_DevSrv_GetSimStatus called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetSimStatus(&status) != UTPS_ERROR_SUCCESS) {
        // A card that cannot be asked is not reported as having no SIM.
        DM_WARNING("<======== %s : %s : %s : UTPS_DevSrv_GetSimStatus Failure",
                   DM_TRACE_ARGS(LogicFile));
        return true;
    }
    DM_DEBUG("<======== %s : %s : %s : SimStatus - %d UTPS_DevSrv_GetSimStatus SUCCESS",
             DM_TRACE_ARGS(LogicFile), status);
    return UTPS_SimStatusUsable(status);
}

QString DeviceMgrUILogic::GetSimTypeText()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    int productType = 0;
    if (UTPS_DevSrv_GetProductType(&productType) != UTPS_ERROR_SUCCESS)
        return QStringLiteral("");
    const QString key = productType == 1 ? QStringLiteral("uimtype") : QStringLiteral("simtype");
    return CommonUtils::GetSettings(QStringLiteral("customize"), key);
}

void DeviceMgrUILogic::InterruptServers()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    IPluginContainer* container = Startup::GetPluginContainer();
    if (!container) {
        DM_DEBUG("%s : %s : %s : GetPluginContainer returned NULL", DM_TRACE_ARGS(LogicFile));
        return;
    }
    QObject* plugin = container->GetPlugin(QString::fromLatin1(LinkPlugins::DialupClsid),
                                           LinkPlugins::DialupInterface);
    auto* dialup = qobject_cast<IDialupUIService*>(plugin);
    if (!dialup)
        return;
    if (!dialup->IsConnected())
        return;
    // The switch goes ahead whatever the outcome; the failure is only logged.
    if (dialup->GlobalDisconnect(0) != 0)
        DM_WARNING("%s : %s : %s : pDialup->GlobalDisconnect returned failed",
                   DM_TRACE_ARGS(LogicFile));
}

// ---------------------------------------------------------------------------
// PIN

int DeviceMgrUILogic::GetPinStatus(E_DEVMGR_PIN_STATE* penStatus)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!penStatus) {
        DM_DEBUG("%s : %s : %s : Pre-condtions failed", DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_INVALID_INPUT;
    }
    int status = 0;
    unsigned char flag = 0;
    unsigned char flag2 = 0;
    unsigned char retries = 0;
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetPinStatus called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetPinStatus(kPinType, &status, &flag, &flag2, &retries) !=
        UTPS_ERROR_SUCCESS) {
        DM_WARNING("=====>%s : %s : %s : UTPS_DevSrv_GetPinStatus failed",
                   DM_TRACE_ARGS(LogicFile));
        m_iRetryTimes = -1;
        return DEVMGR_RESULT_SDK_FAILURE;
    }
    DM_DEBUG("<=====%s : %s : %s : UTPS_DevSrv_GetPinStatus passed retry %d PinStatus - %d",
             DM_TRACE_ARGS(LogicFile), int(retries), status);
    m_iRetryTimes = retries;
    m_nPinStatus = status;
    mapSdkPinStatus(status, flag, penStatus);
    return DEVMGR_RESULT_SUCCESS;
}

int DeviceMgrUILogic::GetPINRetryTimes()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!readRetryCounter(__FUNCTION__, false))
        return -1;
    // While the PUK is required the card's one counter is the PUK's.
    return m_nPinStatus == UTPS_PIN_STATUS_PUK_REQUIRED ? 0 : m_iRetryTimes;
}

int DeviceMgrUILogic::GetPUKRetryTimes()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!readRetryCounter(__FUNCTION__, true))
        return -1;
    // Outside the PUK state the card's one counter is the PIN's.
    return m_nPinStatus == UTPS_PIN_STATUS_PUK_REQUIRED ? m_iRetryTimes : 0;
}

bool DeviceMgrUILogic::readRetryCounter(const char* function, bool forPuk)
{
    for (int attempt = 0; attempt < kCounterReads; ++attempt) {
        int status = 0;
        unsigned char flag = 0;
        unsigned char flag2 = 0;
        unsigned char retries = 0;
        const bool answered = UTPS_DevSrv_GetPinStatus(kPinType, &status, &flag, &flag2,
                                                       &retries) == UTPS_ERROR_SUCCESS;
        traceCounterRead(function, forPuk, answered, status, retries);
        if (!answered)
            continue;
        m_nPinStatus = status;
        m_iRetryTimes = retries;
        return true;
    }
    return false;
}

bool DeviceMgrUILogic::isPINValid(QString& pin)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    const bool valid = pin.length() >= kMinPinLen && pin.length() <= kMaxPinLen;
    if (!valid)
        DM_DEBUG(
            "%s : %s : %s : length is either greater than MAX PIN Len or less than MIN PIN len",
            DM_TRACE_ARGS(LogicFile));
    DM_DEBUG("%s : %s : %s : Exit retval = ", DM_TRACE_ARGS(LogicFile));
    return valid;
}

bool DeviceMgrUILogic::isPUKValid(QString& puk)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (puk.length() == kPukLen)
        return true;
    DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
    return false;
}

int DeviceMgrUILogic::ValidatePINs(QString pin, QString confirmPin)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!isPINValid(pin) || !isPINValid(confirmPin)) {
        DM_DEBUG("%s : %s : %s : Input params are invalid", DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_GENERAL_ERROR;
    }
    const PinBuffer first(pin);
    const PinBuffer second(confirmPin);
    return std::strncmp(first.get(), second.get(), kMaxPinLen + 1) == 0
               ? DEVMGR_RESULT_SUCCESS
               : DEVMGR_RESULT_GENERAL_ERROR;
}

int DeviceMgrUILogic::ProcessPIN(QString pin, int& retries, E_DEVMGR_PIN_STATE request)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    int result = -1;
    switch (request) {
    case DEVMGR_PIN_VERIFY:
        result = processVerifyPIN(retries, pin);
        break;
    case DEVMGR_PIN_ENABLE:
        result = processEnablePIN(retries, pin);
        break;
    case DEVMGR_PIN_DISABLE:
        result = processDisablePIN(retries, pin);
        break;
    default:
        break;
    }
    if (result == UTPS_ERROR_SUCCESS)
        return 0;
    DM_DEBUG("%s : %s : %s : ProcessPIN: SimState %d Failed", DM_TRACE_ARGS(LogicFile),
             int(request));
    return 1;
}

int DeviceMgrUILogic::processVerifyPIN(int& retries, QString pin)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!isPINValid(pin)) {
        DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
        return -1;
    }
    const PinBuffer code(pin);
    // Starts as "unknown" so that a call that reports no count is not taken
    // for "no attempts left".
    unsigned char left = kRetriesUnknown;
    // The entered PIN is traced on purpose; the host keeps its log private.
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_VerifyPin called with btType = %d, szPinCode = %s",
             DM_TRACE_ARGS(LogicFile), int(kPinType), code.get());
    const int result = UTPS_DevSrv_VerifyPin(kPinType, code.get(), &left);
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_VerifyPin returned %li", DM_TRACE_ARGS(LogicFile),
             long(result));
    retries = left == kRetriesUnknown ? -1 : int(left);
    if (left == 0)
        m_nPinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
    return result;
}

int DeviceMgrUILogic::processEnablePIN(int& retries, QString pin)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!isPINValid(pin)) {
        DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
        return -1;
    }
    const PinBuffer code(pin);
    DM_DEBUG("=====> %s : %s : %s : UTPS_DevSrv_EnablePin Calling", DM_TRACE_ARGS(LogicFile));
    const int result = UTPS_DevSrv_EnablePin(kPinType, code.get());
    DM_DEBUG("<===== %s : %s : %s :  UTPS_DevSrv_EnablePin return value %d ",
             DM_TRACE_ARGS(LogicFile), result);
    finishProtectionRequest(result, retries);
    return result;
}

int DeviceMgrUILogic::processDisablePIN(int& retries, QString pin)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!isPINValid(pin)) {
        DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
        return -1;
    }
    const PinBuffer code(pin);
    DM_DEBUG("=====> %s : %s : %s : UTPS_DevSrv_DisablePin Calling", DM_TRACE_ARGS(LogicFile));
    const int result = UTPS_DevSrv_DisablePin(kPinType, code.get());
    DM_DEBUG("<===== %s : %s : %s :  UTPS_DevSrv_DisablePin return value  %d ",
             DM_TRACE_ARGS(LogicFile), result);
    finishProtectionRequest(result, retries);
    return result;
}

void DeviceMgrUILogic::finishProtectionRequest(int result, int& retries)
{
    // A success leaves `retries` as the caller had it.
    if (result == UTPS_ERROR_SUCCESS) {
        m_iRetryTimes = 0;
        return;
    }
    retries = reportRefusedRequest();
}

int DeviceMgrUILogic::UnlockPIN(QString puk, QString newPin, int& retries)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    if (!isPINValid(newPin) || !isPUKValid(puk)) {
        DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_INVALID_INPUT;
    }
    const PinBuffer pukCode(puk);
    const PinBuffer pinCode(newPin);
    unsigned char left = kRetriesUnknown;
    const int result = UTPS_DevSrv_UnblockPin(kPinType, pukCode.get(), pinCode.get(), &left);
    retries = left;
    switch (result) {
    case UTPS_ERROR_SUCCESS:
        m_nPinStatus = 0;
        m_iRetryTimes = 0;
        return DEVMGR_RESULT_SUCCESS;
    case kSdkRefused:
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_UnblockPin returned failure",
                   DM_TRACE_ARGS(LogicFile));
        if (isSimValid())
            m_iRetryTimes = retries;
        else
            retries = -1;
        m_nPinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
        return DEVMGR_RESULT_SDK_FAILURE;
    case kSdkBadParam:
        DM_DEBUG("%s : %s : %s : UTPS_DevSrv_UnblockPin returned bad param,",
                 DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_INVALID_INPUT;
    case UTPS_ERROR_WWAN_PRIVILEGE:
        m_nPinStatus = 0;
        m_iRetryTimes = 0;
        return DEVMGR_RESULT_WWAN_PRIVILEGE;
    default:
        // Only the codes above count as failures.
        return DEVMGR_RESULT_SUCCESS;
    }
}

int DeviceMgrUILogic::ModifyPIN(QString oldPin, QString newPin, int& retries)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    // Whatever the outcome, the caller gets the counter as it stands after it.
    int result = DEVMGR_RESULT_SUCCESS;
    if (!isPINValid(oldPin) || !isPINValid(newPin)) {
        DM_DEBUG("%s : %s : %s : Invalid input params", DM_TRACE_ARGS(LogicFile));
        result = DEVMGR_RESULT_INVALID_INPUT;
    } else {
        const PinBuffer oldCode(oldPin);
        const PinBuffer newCode(newPin);
        const int sdkResult = UTPS_DevSrv_ChangePin(kPinType, oldCode.get(), newCode.get());
        if (sdkResult == UTPS_ERROR_SUCCESS) {
            m_iRetryTimes = 0;
        } else if (sdkResult == kSdkBadParam) {
            DM_DEBUG("%s : %s : %s : UTPS_DevSrv_ChangePin returned bad param,",
                     DM_TRACE_ARGS(LogicFile));
            result = DEVMGR_RESULT_INVALID_INPUT;
        } else if (sdkResult == kSdkRefused) {
            DM_WARNING("%s : %s : %s : UTPS_DevSrv_ChangePin returned failure",
                       DM_TRACE_ARGS(LogicFile));
            reportRefusedRequest();
            result = DEVMGR_RESULT_SDK_FAILURE;
        }
        // Any other SDK result is not treated as a failure.
    }
    retries = m_iRetryTimes;
    return result;
}

int DeviceMgrUILogic::reportRefusedRequest()
{
    // A re-read that yields no state (the SDK failed, or its status maps to
    // nothing) reports DEVMGR_PIN_READY. The service only adopts a non-zero
    // state and treats 0 as "nothing new learnt", so the dialog stays in the
    // request the user made.
    E_DEVMGR_PIN_STATE state = DEVMGR_PIN_READY;
    GetPinStatus(&state);
    if (state == DEVMGR_UNLOCK_PIN) {
        m_iRetryTimes = 0;
        m_nPinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
    }
    emit PinStateChanged(state);
    return m_iRetryTimes;
}

void DeviceMgrUILogic::handleEnableDisableErrorCondition()
{
    DM_DEBUG("%s : %s : %s : Entered m_iRetryTimes %d", DM_TRACE_ARGS(LogicFile), m_iRetryTimes);
    --m_iRetryTimes;
    if (m_iRetryTimes == 0)
        m_nPinStatus = UTPS_PIN_STATUS_PUK_REQUIRED;
    DM_DEBUG("%s : %s : %s : Exit m_iRetryTimes %d", DM_TRACE_ARGS(LogicFile), m_iRetryTimes);
}

// ---------------------------------------------------------------------------
// Radio and attach

int DeviceMgrUILogic::SwitchRFMode(bool on)
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    _UTPS_ST_RF_SWITCH rf{};
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetRFSwitch called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_GetRFSwitch(&rf) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_GetRFSwitch returned error",
                   DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_SDK_FAILURE;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_GetRFSwitch returned success", DM_TRACE_ARGS(LogicFile));
    if (rf.nSupport == 0) {
        DM_DEBUG("%s : %s : %s : device dosent support RF switch", DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_GENERAL_ERROR;
    }
    // Only exactly 1 and exactly 0 count as "already there"; any other state
    // is switched whichever way is asked.
    if ((on && rf.nState == 1) || (!on && rf.nState == 0)) {
        DM_DEBUG("%s : %s : %s : device is already in same state", DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_SUCCESS;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_SetRFSwitch called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_SetRFSwitch(on ? 1 : 0) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_SetRFSwitch returned error",
                   DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_SDK_FAILURE;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_SetRFSwitch returned success", DM_TRACE_ARGS(LogicFile));
    return DEVMGR_RESULT_SUCCESS;
}

int DeviceMgrUILogic::SetOffline()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_SetOffline called", DM_TRACE_ARGS(LogicFile));
    if (UTPS_DevSrv_SetOffline() != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_DevSrv_SetOffline returned error",
                   DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_GENERAL_ERROR;
    }
    DM_DEBUG("%s : %s : %s : UTPS_DevSrv_SetOffline returned success", DM_TRACE_ARGS(LogicFile));
    return DEVMGR_RESULT_SUCCESS;
}

int DeviceMgrUILogic::DetachGPRS()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    DM_DEBUG("%s : %s : %s : UTPS_NetSrv_SetPSState called", DM_TRACE_ARGS(LogicFile));
    // 0 = detach from the packet-switched network.
    if (UTPS_NetSrv_SetPSState(0) != UTPS_ERROR_SUCCESS) {
        DM_WARNING("%s : %s : %s : UTPS_NetSrv_SetPSState returned error",
                   DM_TRACE_ARGS(LogicFile));
        return DEVMGR_RESULT_GENERAL_ERROR;
    }
    DM_DEBUG("%s : %s : %s : UTPS_NetSrv_SetPSState returned success", DM_TRACE_ARGS(LogicFile));
    return DEVMGR_RESULT_SUCCESS;
}

bool DeviceMgrUILogic::IsIMSIDetachEnabled()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    return settingIsOn(QStringLiteral("imsi_detach"));
}

bool DeviceMgrUILogic::IsGPRSDetachEnabled()
{
    DM_DEBUG("%s : %s : %s : Entered", DM_TRACE_ARGS(LogicFile));
    return settingIsOn(QStringLiteral("gprs_detach"));
}
