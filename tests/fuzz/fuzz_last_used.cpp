// The last-used-device record is written by another component of the
// product and read back by the plug-in: whatever it holds must give a name
// or nothing, never a crash. Each input becomes the record in the folder the
// virtual card reports as the user's data directory.
#include "DeviceMgrService.h"
#include "FuzzSupport.h"
#include "HostFixture.h"
#include "Transcript.h"
#include <sim/VirtualCard.h>

#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

namespace {

// Made once: the reader needs no started service, and a host per input
// would only measure the host.
struct Target
{
    Target()
    {
        sim::HostConfig config = host.card().host();
        // The SDK's directory ends with a separator; the reader appends
        // the file name as it is.
        config.userDataDir = (folder.path() + QLatin1Char('/')).toStdString();
        host.card().setHost(config);
    }
    HostFixture host;
    QTemporaryDir folder;
    QString record = folder.filePath(QStringLiteral("localdeviceinfo.xml"));
};

Target* target = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    fuzz::makeApplication();
    target = new Target;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    QFile file(target->record);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size))
        qFatal("cannot write %s", qPrintable(target->record));
    file.close();
    CDeviceMgrService::instance()->GetLastUsedDeviceName();
    // Every call adds to the call log and the transcript: keep the process
    // flat over millions of inputs.
    target->host.card().clearCallLog();
    Transcript::instance().clear();
    return 0;
}
