// The last used device, read from a record in the SDK's user data directory.
#include "DeviceMgrService.h"
#include "HostFixture.h"
#include <sim/VirtualCard.h>

#include <QtTest>

class TestLastUsedDevice : public QObject
{
    Q_OBJECT

private slots:
    void lastUsedName_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no record at all
        QTest::addColumn<bool>("separator");     // the SDK's directory ends in one
        QTest::addColumn<bool>("sdkFails");
        QTest::addColumn<QString>("name");
        const auto row = [](const char* name, const char* content, const char* expected) {
            QTest::newRow(name) << QByteArray(content) << true << false << QString(expected);
        };
        row("second of two",
            R"(<?xml version="1.0"?><d><item id="A">0</item><item id="B">1</item></d>)", "B");
        row("first marked decides", R"(<d><item id="A">1</item><item id="B">1</item></d>)", "A");
        row("marked without id stops", R"(<d><item>1</item><item id="B">1</item></d>)", "");
        row("leading blank", R"(<d><item id="A"> 1</item></d>)", "");
        row("trailing blank", R"(<d><item id="A">1 </item></d>)", "");
        row("malformed after the marked item", R"(<d><item id="A">1</item><item id="B">0</d>)",
            "A");
        row("malformed before the marked item",
            R"(<d><item id="A">0</itm><item id="B">1</item></d>)", "");
        row("no record", nullptr, "");
        const QByteArray valid = R"(<d><item id="A">1</item></d>)";
        // The file name is appended as it is: the record beside the folder counts.
        QTest::newRow("directory without separator") << valid << false << false << "A";
        QTest::newRow("SDK failure") << valid << true << true << "";
    }
    void lastUsedName()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, separator);
        QFETCH(bool, sdkFails);
        QFETCH(QString, name);
        HostFixture host;
        QTemporaryDir root;
        const QString folder = root.path() + "/data";
        const QString directory = separator ? folder + "/" : folder;
        QVERIFY(QDir().mkpath(folder));
        const auto write = [](const QString& path, const QByteArray& text) {
            QFile file(path + "localdeviceinfo.xml");
            return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
        };
        // A decoy inside the folder, read only by a reader that adds its own separator.
        QVERIFY(write(folder + "/", R"(<d><item id="Decoy">1</item></d>)"));
        if (content.isNull())
            QVERIFY(QFile::remove(folder + "/localdeviceinfo.xml"));
        else
            QVERIFY(write(directory, content));

        sim::HostConfig config = host.card().host();
        config.userDataDir = directory.toStdString();
        host.card().setHost(config);
        if (sdkFails)
            host.card().setFault("UTPS_GetUserDataDirectory", 5, 1);
        // Reading the record needs no started service.
        QCOMPARE(CDeviceMgrService::instance()->GetLastUsedDeviceName(), name);
    }
};

QTEST_MAIN(TestLastUsedDevice)
#include "tst_lastuseddevice.moc"
