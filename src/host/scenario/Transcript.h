// The host's transcript: one line for everything the host observes, so a
// scenario can wait for it and a person can read what happened.
#pragma once

#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>

class Transcript : public QObject
{
    Q_OBJECT
public:
    struct Record
    {
        qint64 ms = 0;
        QString kind;
        QString text; // everything after the kind
    };

    // Process-wide; safe to call from any thread (the SDK's observer records
    // from its own threads).
    static Transcript& instance();

    void record(const QString& kind, const QString& text);
    QList<Record> records() const;
    int count() const;
    // "[<ms since start>] <kind> <text>"
    QStringList lines() const;
    static QString format(const Record& record);
    // Forgets every record and restarts the clock.
    void clear();
    // Writes the records made so far to `path` (truncating it) and then
    // appends each line as it is recorded. An empty path stops writing.
    // Returns false when the file cannot be opened.
    bool setOutputFile(const QString& path);

signals:
    // Emitted on the recording thread; connect queued across threads.
    void recorded(int index);

private:
    Transcript();

    mutable QMutex m_mutex;
    QElapsedTimer m_clock;
    QList<Record> m_records;
    QFile m_output;
};
