// The host's log file, written by a thread of its own so that the threads
// that trace (the GUI thread above all) only copy a line into memory.
//
// - Lines are written in the order `append` was called, whatever the thread.
// - The buffer is bounded; when it is full, `append` waits for the writer
//   rather than drop a line.
// - The writer gathers lines for a few milliseconds (or a few dozen
//   kilobytes) before it writes, so a busy tracer wakes it once per batch,
//   not once per line.
// - At `limit` bytes the file is rotated: it becomes "<path>.1" (replacing
//   the older one) and a new file is started, so the log cannot fill a disk.
// - Files are created with mode 0600 (a line may carry a PIN), an older file
//   is tightened to it, and a symbolic link in place of the file is refused.
#pragma once

#include <QByteArray>
#include <QString>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

class LogFile
{
public:
    struct Limits
    {
        qint64 fileBytes = 10 * 1024 * 1024; // rotate past this size
        qsizetype bufferBytes = 1024 * 1024; // the writer's backlog, at most
        // The writer collects lines for gatherMs, or until it has batchBytes.
        int gatherMs = 20;
        qsizetype batchBytes = 64 * 1024;
    };

    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Opens `path` for appending and starts the writer. False with a reason
    // when the file cannot be opened or made private.
    bool open(const QString& path, const Limits& limits, QString* error);
    bool open(const QString& path, QString* error) { return open(path, Limits(), error); }
    bool isOpen() const;

    // One line, without its newline. Thread-safe; a no-op when not open.
    void append(const char* text, qsizetype length);
    void append(const QByteArray& line) { append(line.constData(), line.size()); }
    // In UTF-8, encoded straight into the buffer.
    void append(QStringView line);

    // Returns once every line appended before the call is in the file.
    void flush();
    // Flushes, stops the writer and closes the file.
    void close();

    // What went wrong writing (full disk, a failed rotation), empty when
    // nothing did. The writer keeps going after a failure.
    QString lastError() const;
    // How often a line had to wait for room in the buffer since open.
    quint64 fullWaits() const;

private:
    // Makes room for `length` more bytes, waiting while the buffer is full;
    // false when the file is not open.
    bool reserve(std::unique_lock<std::mutex>& lock, size_t length);
    // After a line went in: whether the writer needs waking.
    bool appended(size_t before);
    void run();
    void writeOut(const std::string& batch);
    bool writeChunk(const char* data, qsizetype length);
    bool rotate();
    void fail(const QString& what);

    mutable std::mutex m_mutex;
    std::condition_variable m_wakeWriter;
    std::condition_variable m_spaceFreed;
    std::condition_variable m_written;
    std::string m_pending;   // appended, not yet taken by the writer
    std::string m_batch;     // the writer's, outside the lock
    uint64_t m_appended = 0; // bytes appended since open
    uint64_t m_flushed = 0;  // of those, bytes written
    int m_flushWaiters = 0;
    quint64 m_fullWaits = 0;
    bool m_writerIdle = false;
    bool m_stopping = false;
    bool m_open = false;
    std::thread m_writer;

    // The writer's own.
    int m_fd = -1;
    qint64 m_fileBytes = 0;
    QByteArray m_path;
    Limits m_limits;
    QString m_error; // under m_mutex
};
