#include "LogFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace {

QList<QByteArray> linesOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

mode_t modeOf(const QString& path)
{
    struct stat status = {};
    lstat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 07777;
}

} // namespace

class TestLogFile : public QObject
{
    Q_OBJECT
private slots:
    // Several threads trace at once through a buffer far too small for them:
    // every thread's lines arrive, complete and in its order, none torn.
    void manyWritersThroughAFullBufferLoseNothing()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("linkhost.log");
        LogFile log;
        LogFile::Limits limits;
        limits.bufferBytes = 512;
        limits.batchBytes = 256;
        QString error;
        QVERIFY2(log.open(path, limits, &error), qPrintable(error));
        constexpr int kThreads = 4, kLines = 20000;
        std::vector<std::thread> writers;
        for (int t = 0; t < kThreads; ++t) {
            writers.emplace_back([&log, t] {
                for (int i = 0; i < kLines; ++i)
                    log.append(QByteArray::number(t) + ' ' + QByteArray::number(i));
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        log.close(); // no flush first: closing writes out the rest

        std::vector<int> next(kThreads, 0);
        const QList<QByteArray> lines = linesOf(path);
        QCOMPARE(lines.size(), kThreads * kLines);
        for (const QByteArray& line : lines) {
            const QList<QByteArray> fields = line.split(' ');
            QCOMPARE(fields.size(), 2);
            const int thread = fields[0].toInt();
            QCOMPARE(fields[1].toInt(), next[thread]++);
        }
        QVERIFY(log.lastError().isEmpty());
    }

    void flushMakesEveryEarlierLineVisible()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("linkhost.log");
        LogFile log;
        LogFile::Limits limits;
        limits.gatherMs = 10000; // unflushed lines would stay in memory all test long
        QString error;
        QVERIFY(log.open(path, limits, &error));
        for (int round = 1; round <= 3; ++round) {
            log.append(QByteArray("round ") + QByteArray::number(round));
            log.flush();
            QCOMPARE(linesOf(path).size(), round);
            QCOMPARE(linesOf(path).last(), QByteArray("round ") + QByteArray::number(round));
        }
    }

    // Past the limit the file moves to ".1" and a new one starts, on a line
    // boundary; one old file is kept, so the disk holds two limits at most.
    void rotatesAtTheLimit_data()
    {
        QTest::addColumn<int>("existingBytes");
        QTest::addColumn<int>("lines");
        QTest::addColumn<int>("lineBytes");
        QTest::newRow("one rotation") << 0 << 60 << 19;
        QTest::newRow("many rotations") << 0 << 1000 << 19;
        QTest::newRow("an existing file counts") << 990 << 3 << 19;
        QTest::newRow("a line longer than the limit") << 0 << 3 << 1500;
    }
    void rotatesAtTheLimit()
    {
        QFETCH(int, existingBytes);
        QFETCH(int, lines);
        QFETCH(int, lineBytes);
        constexpr int kLimit = 1000;
        QTemporaryDir dir;
        const QString path = dir.filePath("linkhost.log");
        QList<QByteArray> all;
        if (existingBytes) {
            all.append(QByteArray(existingBytes - 1, 'o'));
            QFile existing(path);
            QVERIFY(existing.open(QIODevice::WriteOnly));
            existing.write(all.last() + '\n');
        }
        LogFile log;
        LogFile::Limits limits;
        limits.fileBytes = kLimit;
        QString error;
        QVERIFY(log.open(path, limits, &error));
        for (int i = 0; i < lines; ++i) {
            all.append(QByteArray::number(i).rightJustified(lineBytes - 1, '.'));
            log.append(all.last());
            if (i % 7 == 0)
                log.flush(); // batches of every size meet the limit
        }
        log.close();

        QVERIFY(!QFile::exists(path + ".2"));
        for (const QString& file : {path, path + ".1"}) {
            QVERIFY2(QFile::exists(file), qPrintable(file));
            QVERIFY2(QFileInfo(file).size() <= kLimit || lineBytes > kLimit, qPrintable(file));
            QCOMPARE(modeOf(file), mode_t(0600));
        }
        // What is kept is the newest lines, whole and in order.
        const QList<QByteArray> kept = linesOf(path + ".1") + linesOf(path);
        QVERIFY(!kept.isEmpty());
        QCOMPARE(kept, all.mid(all.size() - kept.size()));
    }

    void openRefusesWhatIsNotAPrivateFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("reason");
        QTest::newRow("symbolic link") << "symlink"
                                       << "symbolic link";
        QTest::newRow("fifo (would block)") << "fifo"
                                            << "not a regular file";
        QTest::newRow("directory") << "directory"
                                   << "cannot open";
        QTest::newRow("missing folder") << "missing"
                                        << "No such file";
    }
    void openRefusesWhatIsNotAPrivateFile()
    {
        QFETCH(QString, kind);
        QFETCH(QString, reason);
        QTemporaryDir dir;
        QString path = dir.filePath("linkhost.log");
        const QString target = dir.filePath("someone-elses");
        QFile other(target);
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("theirs\n");
        other.close();
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
        if (kind == "symlink")
            QVERIFY(QFile::link(target, path));
        else if (kind == "fifo")
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (kind == "directory")
            QVERIFY(QDir(dir.path()).mkdir("linkhost.log"));
        else
            path = dir.filePath("gone/linkhost.log");

        LogFile log;
        QString error;
        QVERIFY(!log.open(path, &error));
        QVERIFY2(error.contains(reason), qPrintable(error));
        QVERIFY(!log.isOpen());
        log.append("dropped"); // not open: nothing written, nothing blocks
        QCOMPARE(linesOf(target), QList<QByteArray>{"theirs"});
        QCOMPARE(modeOf(target), mode_t(0604));
    }

    void anOlderFileIsMadePrivateAndAppendedTo()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("linkhost.log");
        QFile older(path);
        QVERIFY(older.open(QIODevice::WriteOnly));
        older.write("before\n");
        older.close();
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther |
                                        QFile::ReadGroup);
        LogFile log;
        QString error;
        QVERIFY(log.open(path, &error));
        QCOMPARE(modeOf(path), mode_t(0600));
        log.append("after");
        log.close();
        QCOMPARE(linesOf(path), (QList<QByteArray>{"before", "after"}));
    }
};

QTEST_GUILESS_MAIN(TestLogFile)
#include "tst_logfile.moc"
