#include "Transcript.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

class TestTranscript : public QObject
{
    Q_OBJECT
private slots:
    // Writers on many threads: nothing lost or reordered per thread, time
    // never runs back, and the file gets the lines recorded before it too.
    void concurrentWriters()
    {
        constexpr int threads = 6, perThread = 300;
        Transcript& transcript = Transcript::instance();
        transcript.clear();
        transcript.record("before", QString());
        QTemporaryDir dir;
        QFile file(dir.filePath("t.txt"));
        QVERIFY(transcript.setOutputFile(file.fileName()));
        std::vector<std::thread> workers;
        for (int t = 0; t < threads; ++t)
            workers.emplace_back([t, &transcript] {
                for (int i = 0; i < perThread; ++i)
                    transcript.record("sdk", QString("%1 %2").arg(t).arg(i));
            });
        for (std::thread& worker : workers)
            worker.join();
        const QList<Transcript::Record> records = transcript.records();
        QCOMPARE(records.size(), threads * perThread + 1);
        QList<int> next(threads, 0);
        for (int i = 1; i < records.size(); ++i) {
            QVERIFY(records[i].ms >= records[i - 1].ms);
            const QStringList parts = records[i].text.split(' ');
            QCOMPARE(parts[1].toInt(), next[parts[0].toInt()]++);
        }
        transcript.setOutputFile(QString());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString(file.readAll()).split('\n', Qt::SkipEmptyParts), transcript.lines());
    }
};

QTEST_GUILESS_MAIN(TestTranscript)
#include "tst_transcript.moc"
