// The last used device: read from the record another component of the product
// keeps in the user's data directory. This plug-in never writes it.

// The service header's inline parentWidget() needs the complete QWidget.
#include <QWidget>

#include "DeviceMgrService.h"

#include "DeviceMgrTrace.h"

#include <QFile>
#include <QXmlStreamReader>

using DeviceMgrTrace::ServiceFile;

QString CDeviceMgrService::getUserDataDirectory()
{
    // These two lines carry the module's build time where the others carry
    // the time of the call; log readers use it to tell builds apart.
    DM_DEBUG("%s: %s: %s before caling UTPS_GetUserDataDirectory()", __TIME__, ServiceFile,
             __FUNCTION__);
    UTPS_WCHAR* directory = nullptr;
    const int result = UTPS_GetUserDataDirectory(&directory);
    DM_DEBUG("%s: %s: %s after caling UTPS_GetUserDataDirectory(), retVal=%ld", __TIME__,
             ServiceFile, __FUNCTION__, long(result));
    QString path;
    if (result == UTPS_ERROR_SUCCESS && directory)
        path = QString::fromUtf16(directory);
    // The SDK allocates the text with new[] even when it reports failure.
    delete[] directory;
    return path;
}

QString CDeviceMgrService::GetLastUsedDeviceName()
{
    // The entry line has the exit line's text; log readers rely on it.
    DM_DEBUG("%s : %s: %s: Exit", DM_TRACE_ARGS(ServiceFile));
    // The SDK's directory ends with a separator, so none is inserted.
    const QString path = getUserDataDirectory() + QStringLiteral("localdeviceinfo.xml");
    QString result;
    if (!QFile::exists(path)) {
        DM_DEBUG("File %s does not exist", path.toLocal8Bit().constData());
        DM_DEBUG("%s : %s: %s: Exit", DM_TRACE_ARGS(ServiceFile));
        return result;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        DM_DEBUG("Error open file: ");
        DM_DEBUG("%s : %s: %s: Exit", DM_TRACE_ARGS(ServiceFile));
        return result;
    }
    QXmlStreamReader reader(&file);
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.hasError()) {
            DM_DEBUG("%s: %s: Read Error: n", ServiceFile, __FUNCTION__);
            break;
        }
        if (!reader.isStartElement() || reader.name() != QLatin1String("item"))
            continue;
        const QString id = reader.attributes().value(QLatin1String("id")).toString();
        const QString text = reader.readElementText();
        if (reader.hasError()) {
            DM_DEBUG("%s: %s: Read Error: n", ServiceFile, __FUNCTION__);
            break;
        }
        // The first item marked "1" decides, even when it has no id.
        if (text == QLatin1String("1")) {
            result = id;
            break;
        }
    }
    file.close();
    DM_DEBUG("%s : %s: %s: Exit", DM_TRACE_ARGS(ServiceFile));
    return result;
}
