// Captures the trace lines (qDebug/qWarning output) written while it lives.
#pragma once

#include <QStringList>

class TraceCapture
{
public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    QStringList lines() const;
    // The lines written to the warning channel.
    QStringList warnings() const;
    // Lines that contain `text`.
    QStringList matching(const QString& text) const;
    bool contains(const QString& text) const { return !matching(text).isEmpty(); }
    // The threads that wrote a line containing `text`: "gui" (the
    // application's) or "sdk" (any other), each once, first writer first.
    QStringList threadsWriting(const QString& text) const;
    void clear();
};
