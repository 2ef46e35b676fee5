#include "LogFile.h"

#include <QFile>
#include <QStringEncoder>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString reason(const QString& what, const QByteArray& path)
{
    return QStringLiteral("%1 %2: %3")
        .arg(what, QFile::decodeName(path), QString::fromLocal8Bit(std::strerror(errno)));
}

// Opens `path` for appending as a private regular file. Neither a symbolic
// link (someone else's file would be written, or made private) nor a FIFO
// (the open would block) is taken.
int openPrivate(const QByteArray& path, int extraFlags, QString* error)
{
    const int fd = ::open(
        path.constData(),
        O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | extraFlags, 0600);
    if (fd < 0 && errno == ELOOP) {
        *error =
            QStringLiteral("cannot open %1: it is a symbolic link").arg(QFile::decodeName(path));
        return -1;
    }
    if (fd < 0 && errno == ENXIO) { // a FIFO nobody reads
        *error = QStringLiteral("cannot open %1: not a regular file").arg(QFile::decodeName(path));
        return -1;
    }
    if (fd < 0) {
        *error = reason(QStringLiteral("cannot open"), path);
        return -1;
    }
    struct stat status = {};
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        *error = QStringLiteral("cannot open %1: not a regular file").arg(QFile::decodeName(path));
        ::close(fd);
        return -1;
    }
    // An older file may have been readable by others.
    if (::fchmod(fd, 0600) != 0) {
        *error = reason(QStringLiteral("cannot restrict"), path);
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, O_APPEND);
    return fd;
}

} // namespace

LogFile::~LogFile()
{
    close();
}

bool LogFile::open(const QString& path, const Limits& limits, QString* error)
{
    close();
    const QByteArray name = QFile::encodeName(path);
    const int fd = openPrivate(name, 0, error);
    if (fd < 0)
        return false;
    struct stat status = {};
    ::fstat(fd, &status);
    m_fd = fd;
    m_fileBytes = status.st_size;
    m_path = name;
    m_limits = limits;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pending.clear();
        m_appended = m_flushed = 0;
        m_fullWaits = 0;
        m_stopping = false;
        m_error.clear();
        m_open = true;
    }
    m_writer = std::thread([this] { run(); });
    return true;
}

bool LogFile::isOpen() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_open;
}

bool LogFile::reserve(std::unique_lock<std::mutex>& lock, size_t length)
{
    if (!m_open)
        return false;
    const size_t capacity = size_t(m_limits.bufferBytes);
    // Full: wait for the writer rather than lose the line. A line longer
    // than the whole buffer still goes in once the buffer is empty.
    while (!m_pending.empty() && m_pending.size() + length > capacity && !m_stopping) {
        ++m_fullWaits;
        m_wakeWriter.notify_one();
        m_spaceFreed.wait(lock);
    }
    return true;
}

bool LogFile::appended(size_t before)
{
    m_pending.push_back('\n');
    m_appended += m_pending.size() - before;
    // Wake the writer for the first line after it went idle, and when the
    // batch is big enough to be worth a write; every other line only adds
    // to a batch.
    const size_t enough = size_t(m_limits.batchBytes);
    if (m_writerIdle) {
        m_writerIdle = false;
        return true;
    }
    return before < enough && m_pending.size() >= enough;
}

void LogFile::append(const char* text, qsizetype length)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!reserve(lock, size_t(length) + 1))
        return;
    const size_t before = m_pending.size();
    m_pending.append(text, size_t(length));
    const bool wake = appended(before);
    lock.unlock();
    if (wake)
        m_wakeWriter.notify_one();
}

void LogFile::append(QStringView line)
{
    QStringEncoder encoder(QStringEncoder::Utf8);
    const size_t most = size_t(encoder.requiredSpace(line.size()));
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!reserve(lock, most + 1))
        return;
    const size_t before = m_pending.size();
    m_pending.resize(before + most);
    char* start = m_pending.data() + before;
    m_pending.resize(before + size_t(encoder.appendToBuffer(start, line) - start));
    const bool wake = appended(before);
    lock.unlock();
    if (wake)
        m_wakeWriter.notify_one();
}

void LogFile::flush()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!m_open)
        return;
    const uint64_t target = m_appended;
    ++m_flushWaiters;
    m_wakeWriter.notify_one();
    m_written.wait(lock, [&] { return m_flushed >= target || !m_open; });
    --m_flushWaiters;
}

void LogFile::close()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_open)
            return;
        m_stopping = true;
    }
    m_wakeWriter.notify_one();
    m_spaceFreed.notify_all();
    if (m_writer.joinable())
        m_writer.join();
    ::close(m_fd);
    m_fd = -1;
}

QString LogFile::lastError() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_error;
}

quint64 LogFile::fullWaits() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_fullWaits;
}

void LogFile::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto gather = std::chrono::milliseconds(m_limits.gatherMs);
    const size_t enough = size_t(m_limits.batchBytes);
    for (;;) {
        m_writerIdle = true;
        m_wakeWriter.wait(lock, [&] { return !m_pending.empty() || m_stopping; });
        m_writerIdle = false;
        // A line rarely comes alone: collect the ones right behind it.
        if (!m_stopping && m_flushWaiters == 0) {
            m_wakeWriter.wait_for(lock, gather, [&] {
                return m_stopping || m_flushWaiters > 0 || m_pending.size() >= enough;
            });
        }
        if (m_pending.empty()) {
            if (!m_stopping)
                continue;
            m_open = false; // a line appended from now on would never be written
            m_written.notify_all();
            return;
        }
        m_batch.swap(m_pending);
        const uint64_t upTo = m_appended;
        lock.unlock();
        m_spaceFreed.notify_all();
        writeOut(m_batch);
        m_batch.clear(); // keeps its capacity for the next swap
        lock.lock();
        m_flushed = upTo;
        m_written.notify_all();
    }
}

// Writes a batch of whole lines, rotating the file where the next line would
// take it past the limit.
void LogFile::writeOut(const std::string& batch)
{
    const char* data = batch.data();
    size_t left = batch.size();
    while (left > 0) {
        const qint64 room = m_limits.fileBytes - m_fileBytes;
        size_t take = left;
        if (qint64(left) > room) {
            // The last line end that still fits; none: a line longer than
            // the room, which goes into a file of its own.
            const void* end = room > 0 ? memrchr(data, '\n', size_t(room)) : nullptr;
            if (end)
                take = size_t(static_cast<const char*>(end) - data) + 1;
            else if (m_fileBytes > 0)
                take = 0;
            else
                take = size_t(static_cast<const char*>(std::memchr(data, '\n', left)) - data) + 1;
        }
        if (take > 0) {
            writeChunk(data, qsizetype(take));
            data += take;
            left -= take;
        }
        if (left == 0 && m_fileBytes < m_limits.fileBytes)
            return;
        if (!rotate() && m_fileBytes > 0) {
            // Neither rotated nor emptied: keep the lines all the same.
            writeChunk(data, qsizetype(left));
            return;
        }
    }
}

bool LogFile::writeChunk(const char* data, qsizetype length)
{
    while (length > 0) {
        const ssize_t written = ::write(m_fd, data, size_t(length));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0) {
            fail(reason(QStringLiteral("cannot write"), m_path));
            return false;
        }
        data += written;
        length -= written;
        m_fileBytes += written;
    }
    return true;
}

bool LogFile::rotate()
{
    const QByteArray older = m_path + ".1";
    // Removed first: a rename over an existing file makes some file systems
    // (ext4) start writing the renamed file out there and then, which would
    // stall the writer in the middle of a storm.
    ::unlink(older.constData());
    if (::rename(m_path.constData(), older.constData()) != 0) {
        // Better to lose the old lines than to fill the disk.
        fail(reason(QStringLiteral("cannot rotate"), m_path));
        if (::ftruncate(m_fd, 0) == 0)
            m_fileBytes = 0;
        return false;
    }
    QString error;
    // Exclusive: whatever appeared in the file's place since is not ours.
    const int fd = openPrivate(m_path, O_EXCL, &error);
    if (fd < 0) {
        fail(error);
        // Go on in the file just moved aside, emptied to stay within bounds.
        if (::ftruncate(m_fd, 0) == 0)
            m_fileBytes = 0;
        return false;
    }
    ::close(m_fd);
    m_fd = fd;
    m_fileBytes = 0;
    return true;
}

void LogFile::fail(const QString& what)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_error == what)
        return;
    m_error = what;
    // Not through the message handler: that would come back here.
    const QByteArray line = "linkhost: log: " + what.toLocal8Bit() + '\n';
    [[maybe_unused]] const ssize_t written =
        ::write(STDERR_FILENO, line.constData(), size_t(line.size()));
}
