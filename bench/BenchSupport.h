// Small helpers shared by the benchmarks: percentiles, peak memory, and a
// quiet message handler (trace lines are formatted as in production, then
// dropped instead of written to the log file).
#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QtGlobal>

#include <vector>

namespace bench {

double median(std::vector<double> values);
double percentile(std::vector<double> values, double p);
long peakRssKiB();
// Resident now (the peak only grows).
long residentKiB();
void silenceTrace();
// The median of `runs` results of `measure`.
template <typename F> double medianOf(int runs, F measure)
{
    std::vector<double> results;
    for (int i = 0; i < runs; ++i)
        results.push_back(measure());
    return median(results);
}

// Runs the event loop until `done` holds (false when `ms` ran out first).
template <typename Predicate> bool waitFor(Predicate done, int ms = 20000)
{
    QDeadlineTimer deadline(ms);
    while (!done()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return true;
}

} // namespace bench
