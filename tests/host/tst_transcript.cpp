#include "Transcript.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>
#include <vector>

class TestTranscript : public QObject
{
    Q_OBJECT
private slots:
    // Writers on many threads: nothing lost or reordered per thread, time
    // never runs back, and the file gets the lines recorded before it too.
    void concurrentWriters()
    {
        constexpr int threads = 6;
        constexpr int perThread = 300;
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.txt"));
        Transcript::instance().clear();
        Transcript::instance().record(QStringLiteral("before"), QString());
        QVERIFY(Transcript::instance().setOutputFile(path));
        std::vector<std::unique_ptr<QThread>> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back(QThread::create([t] {
                for (int i = 0; i < perThread; ++i)
                    Transcript::instance().record(QStringLiteral("sdk"),
                                                  QStringLiteral("%1 %2").arg(t).arg(i));
            }));
            workers.back()->start();
        }
        for (auto& worker : workers)
            QVERIFY(worker->wait(10000));

        const QList<Transcript::Record> records = Transcript::instance().records();
        QCOMPARE(records.size(), threads * perThread + 1);
        QList<int> next(threads, 0);
        qint64 last = 0;
        for (const Transcript::Record& record : records.mid(1)) {
            QVERIFY(record.ms >= last);
            last = record.ms;
            const QStringList parts = record.text.split(QLatin1Char(' '));
            QCOMPARE(parts.at(1).toInt(), next[parts.at(0).toInt()]++);
        }
        Transcript::instance().setOutputFile(QString());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
                 Transcript::instance().lines());
    }
};

QTEST_GUILESS_MAIN(TestTranscript)
#include "tst_transcript.moc"
