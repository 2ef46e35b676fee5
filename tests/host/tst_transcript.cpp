#include "Transcript.h"

#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>
#include <vector>

class TestTranscript : public QObject
{
    Q_OBJECT
private slots:
    void init() { Transcript::instance().clear(); }
    void cleanup() { Transcript::instance().setOutputFile(QString()); }

    void lineFormat_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("tail");
        QTest::newRow("with text") << "notify"
                                   << "broadcast 581 0 0"
                                   << "notify broadcast 581 0 0";
        QTest::newRow("kind only") << "quit" << QString() << "quit";
        QTest::newRow("text with blanks kept") << "msgbox"
                                               << "text=\"a  b\""
                                               << "msgbox text=\"a  b\"";
    }
    void lineFormat()
    {
        QFETCH(QString, kind);
        QFETCH(QString, text);
        QFETCH(QString, tail);
        Transcript::instance().record(kind, text);
        const QStringList lines = Transcript::instance().lines();
        QCOMPARE(lines.size(), 1);
        const QRegularExpressionMatch match =
            QRegularExpression(QStringLiteral("^\\[(\\d+)\\] (.*)$")).match(lines.first());
        QVERIFY2(match.hasMatch(), qPrintable(lines.first()));
        QCOMPARE(match.captured(2), tail);
        const Transcript::Record record = Transcript::instance().records().first();
        QCOMPARE(record.kind, kind);
        QCOMPARE(record.text, text);
        QCOMPARE(match.captured(1).toLongLong(), record.ms);
    }

    void clearRestartsTheClock()
    {
        QTest::qWait(60);
        Transcript::instance().record(QStringLiteral("a"), QString());
        QVERIFY(Transcript::instance().records().first().ms >= 50);
        Transcript::instance().clear();
        QCOMPARE(Transcript::instance().count(), 0);
        Transcript::instance().record(QStringLiteral("b"), QString());
        QVERIFY(Transcript::instance().records().first().ms < 50);
    }

    void recordedSignalCarriesTheIndex()
    {
        QSignalSpy spy(&Transcript::instance(), &Transcript::recorded);
        Transcript::instance().record(QStringLiteral("a"), QString());
        Transcript::instance().record(QStringLiteral("b"), QString());
        QCOMPARE(spy.count(), 2);
        QCOMPARE(spy.at(1).at(0).toInt(), 1);
    }

    void outputFileGetsEarlierAndLaterLines()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("t.txt"));
        QFile stale(path);
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.write("stale line from an earlier run\n");
        stale.close();

        Transcript::instance().record(QStringLiteral("before"), QStringLiteral("1"));
        QVERIFY(Transcript::instance().setOutputFile(path));
        Transcript::instance().record(QStringLiteral("after"), QStringLiteral("2"));

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList written =
            QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(written, Transcript::instance().lines());
    }

    void unwritableOutputFileIsReported()
    {
        QVERIFY(!Transcript::instance().setOutputFile(QStringLiteral("/nonexistent/dir/t.txt")));
        Transcript::instance().record(QStringLiteral("still"), QStringLiteral("recorded"));
        QCOMPARE(Transcript::instance().count(), 1);
    }

    void recordsFromManyThreads()
    {
        constexpr int threads = 8;
        constexpr int perThread = 500;
        QTemporaryDir dir;
        QVERIFY(Transcript::instance().setOutputFile(dir.filePath(QStringLiteral("t.txt"))));
        std::vector<std::unique_ptr<QThread>> workers;
        for (int t = 0; t < threads; ++t) {
            workers.emplace_back(QThread::create([t] {
                for (int i = 0; i < perThread; ++i)
                    Transcript::instance().record(QStringLiteral("sdk"),
                                                  QStringLiteral("t%1 %2").arg(t).arg(i));
            }));
            workers.back()->start();
        }
        for (auto& worker : workers)
            QVERIFY(worker->wait(10000));

        const QList<Transcript::Record> records = Transcript::instance().records();
        QCOMPARE(records.size(), threads * perThread);
        // Each thread's records keep their order, and time never runs back.
        QList<int> next(threads, 0);
        qint64 last = 0;
        for (const Transcript::Record& record : records) {
            QVERIFY(record.ms >= last);
            last = record.ms;
            const QStringList parts = record.text.mid(1).split(QLatin1Char(' '));
            const int thread = parts.at(0).toInt();
            QCOMPARE(parts.at(1).toInt(), next[thread]);
            ++next[thread];
        }
        QFile file(dir.filePath(QStringLiteral("t.txt")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll().count('\n'), threads * perThread);
    }
};

QTEST_GUILESS_MAIN(TestTranscript)
#include "tst_transcript.moc"
