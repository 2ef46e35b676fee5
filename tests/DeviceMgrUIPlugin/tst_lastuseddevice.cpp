// The last used device: the record in the user data directory, as the SDK
// names the directory.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include "TraceCapture.h"
#include "sim/VirtualCard.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr char kRecord[] = "localdeviceinfo.xml";

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(content) == content.size();
}

void useDataDirectory(const QString& directory)
{
    sim::HostConfig host = sim::VirtualCard::instance().host();
    host.userDataDir = directory.toStdString();
    sim::VirtualCard::instance().setHost(host);
}

} // namespace

class TestLastUsedDevice : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void lastUsedName_data();
    void lastUsedName();
    void missingFile();
    void unreadableRecord();
    void sdkFailure();
    void directoryWithoutSeparator();
    void directoryTraceCarriesBuildTime();

private:
    QString dataDir() const { return m_dir->path() + QLatin1Char('/'); }

    std::unique_ptr<HostFixture> m_host;
    std::unique_ptr<QTemporaryDir> m_dir;
    CDeviceMgrService* m_service = nullptr;
};

void TestLastUsedDevice::init()
{
    m_host = std::make_unique<HostFixture>();
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    useDataDirectory(dataDir());
    // Reading the record needs no started service.
    m_service = CDeviceMgrService::instance();
}

void TestLastUsedDevice::cleanup()
{
    m_service = nullptr;
    m_host.reset();
    m_dir.reset();
}

void TestLastUsedDevice::lastUsedName_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("readError");

    QTest::newRow("second of two") << QByteArray("<?xml version=\"1.0\"?><devices>"
                                                 "<item id=\"Card A\">0</item>"
                                                 "<item id=\"Card B\">1</item></devices>")
                                   << "Card B" << false;
    QTest::newRow("first marked decides")
        << QByteArray("<d><item id=\"A\">1</item><item id=\"B\">1</item></d>") << "A" << false;
    QTest::newRow("marked without id stops")
        << QByteArray("<d><item>1</item><item id=\"B\">1</item></d>") << "" << false;
    QTest::newRow("leading blank") << QByteArray("<d><item id=\"A\"> 1</item></d>") << "" << false;
    QTest::newRow("trailing blank") << QByteArray("<d><item id=\"A\">1 </item></d>") << "" << false;
    QTest::newRow("none marked")
        << QByteArray("<d><item id=\"A\">0</item><item id=\"B\">2</item><item id=\"C\"/></d>") << ""
        << false;
    QTest::newRow("other elements ignored")
        << QByteArray("<root><group><other id=\"X\">1</other><item id=\"A\">0</item>"
                      "<item id=\"C\">1</item></group></root>")
        << "C" << false;
    QTest::newRow("names are case sensitive")
        << QByteArray("<d><ITEM id=\"A\">1</ITEM><item ID=\"B\">1</item></d>") << "" << false;
    QTest::newRow("root is the item") << QByteArray("<item id=\"R\">1</item>") << "R" << false;
    QTest::newRow("error after the marked item")
        << QByteArray("<d><item id=\"A\">1</item><item id=\"B\">0</d>") << "A" << false;
    QTest::newRow("error before the marked item")
        << QByteArray("<d><item id=\"A\">0</itm><item id=\"B\">1</item></d>") << "" << true;
    QTest::newRow("element inside the item")
        << QByteArray("<d><item id=\"A\"><b/>1</item><item id=\"B\">1</item></d>") << "" << true;
    QTest::newRow("empty file") << QByteArray() << "" << true;
    QTest::newRow("not XML") << QByteArray("Card A=1\n") << "" << true;
}

void TestLastUsedDevice::lastUsedName()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, name);
    QFETCH(bool, readError);

    QVERIFY(writeFile(dataDir() + kRecord, content));
    TraceCapture trace;
    QCOMPARE(m_service->GetLastUsedDeviceName(), name);
    QCOMPARE(trace.contains("GetLastUsedDeviceName: Read Error: n"), readError);
    // Entry and exit carry the same text.
    QCOMPARE(trace.matching("GetLastUsedDeviceName: Exit").size(), 2);
}

void TestLastUsedDevice::missingFile()
{
    TraceCapture trace;
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString());
    QVERIFY(trace.contains(QString("File %1 does not exist").arg(dataDir() + kRecord)));
}

void TestLastUsedDevice::unreadableRecord()
{
    // Something of that name that cannot be opened as a file.
    QVERIFY(QDir().mkpath(dataDir() + kRecord));
    TraceCapture trace;
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString());
    QVERIFY(trace.contains("Error open file: "));
    QVERIFY(!trace.contains("does not exist"));
    QCOMPARE(trace.matching("GetLastUsedDeviceName: Exit").size(), 2);
}

void TestLastUsedDevice::sdkFailure()
{
    QVERIFY(writeFile(dataDir() + kRecord, "<d><item id=\"A\">1</item></d>"));
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString("A"));

    sim::VirtualCard::instance().setFault("UTPS_GetUserDataDirectory", 5, 1);
    TraceCapture trace;
    QCOMPARE(m_service->getUserDataDirectory(), QString());
    QVERIFY(trace.contains("after caling UTPS_GetUserDataDirectory(), retVal=5"));

    // The SDK fails when it has no directory to name.
    useDataDirectory(QString());
    QCOMPARE(m_service->getUserDataDirectory(), QString());
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString());
}

void TestLastUsedDevice::directoryWithoutSeparator()
{
    const QString directory = m_dir->path() + "/data";
    QVERIFY(QDir().mkpath(directory));
    QVERIFY(writeFile(directory + "/" + kRecord, "<d><item id=\"Inside\">1</item></d>"));
    useDataDirectory(directory);
    QCOMPARE(m_service->getUserDataDirectory(), directory);
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString());

    // The name is appended as it is: the record next to the folder is read.
    QVERIFY(writeFile(directory + kRecord, "<d><item id=\"Beside\">1</item></d>"));
    QCOMPARE(m_service->GetLastUsedDeviceName(), QString("Beside"));
}

void TestLastUsedDevice::directoryTraceCarriesBuildTime()
{
    TraceCapture trace;
    QCOMPARE(m_service->getUserDataDirectory(), dataDir());
    const QStringList lines = trace.matching("caling UTPS_GetUserDataDirectory()");
    QCOMPARE(lines.size(), 2);
    // "hh:mm:ss" of the build, not the "hh:mm:ss:zzz" of the call.
    const QRegularExpression before(
        "^(\\d\\d:\\d\\d:\\d\\d): \\.\\./\\.\\./src/DeviceMgrUIPlugin/DeviceMgrService\\.cpp: "
        "getUserDataDirectory before caling UTPS_GetUserDataDirectory\\(\\)$");
    const QRegularExpression after(
        "^(\\d\\d:\\d\\d:\\d\\d): \\.\\./\\.\\./src/DeviceMgrUIPlugin/DeviceMgrService\\.cpp: "
        "getUserDataDirectory after caling UTPS_GetUserDataDirectory\\(\\), retVal=0$");
    const QRegularExpressionMatch first = before.match(lines.at(0));
    const QRegularExpressionMatch second = after.match(lines.at(1));
    QVERIFY2(first.hasMatch(), qPrintable(lines.at(0)));
    QVERIFY2(second.hasMatch(), qPrintable(lines.at(1)));
    QCOMPARE(first.captured(1), second.captured(1));
}

QTEST_MAIN(TestLastUsedDevice)
#include "tst_lastuseddevice.moc"
