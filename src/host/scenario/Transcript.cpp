#include "Transcript.h"

#include <QMutexLocker>

Transcript& Transcript::instance()
{
    static Transcript transcript;
    return transcript;
}

Transcript::Transcript()
{
    m_clock.start();
}

QString Transcript::format(const Record& record)
{
    QString line = QStringLiteral("[%1] %2").arg(record.ms).arg(record.kind);
    if (!record.text.isEmpty())
        line += QLatin1Char(' ') + record.text;
    return line;
}

void Transcript::record(const QString& kind, const QString& text)
{
    int index = 0;
    {
        QMutexLocker lock(&m_mutex);
        Record entry{m_clock.elapsed(), kind, text};
        m_records.append(entry);
        index = m_records.size() - 1;
        if (m_output.isOpen()) {
            m_output.write(format(entry).toUtf8() + '\n');
            m_output.flush();
        }
    }
    // Outside the lock: a receiver may well record in turn.
    emit recorded(index);
}

QList<Transcript::Record> Transcript::records() const
{
    QMutexLocker lock(&m_mutex);
    return m_records;
}

int Transcript::count() const
{
    QMutexLocker lock(&m_mutex);
    return m_records.size();
}

QStringList Transcript::lines() const
{
    QStringList result;
    const QList<Record> all = records();
    result.reserve(all.size());
    for (const Record& entry : all)
        result.append(format(entry));
    return result;
}

void Transcript::clear()
{
    QMutexLocker lock(&m_mutex);
    m_records.clear();
    m_clock.restart();
}

bool Transcript::setOutputFile(const QString& path)
{
    QMutexLocker lock(&m_mutex);
    if (m_output.isOpen())
        m_output.close();
    if (path.isEmpty())
        return true;
    m_output.setFileName(path);
    // It tells what the device manager did, to whom, and when: the user's only.
    const QFile::Permissions owner = QFile::ReadOwner | QFile::WriteOwner;
    if (!m_output.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text, owner))
        return false;
    if (!m_output.setPermissions(owner)) {
        m_output.close();
        return false;
    }
    for (const Record& entry : std::as_const(m_records))
        m_output.write(format(entry).toUtf8() + '\n');
    m_output.flush();
    return true;
}
