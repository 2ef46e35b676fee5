// Small helpers shared by the benchmarks: percentiles, peak memory, and a
// quiet message handler (trace lines are formatted as in production, then
// dropped instead of written to the log file).
#pragma once

#include <QtGlobal>

#include <vector>

namespace bench {

double median(std::vector<double> values);
double percentile(std::vector<double> values, double p);
long peakRssKiB();
void silenceTrace();
// The median of `runs` results of `measure`.
template <typename F> double medianOf(int runs, F measure)
{
    std::vector<double> results;
    for (int i = 0; i < runs; ++i)
        results.push_back(measure());
    return median(results);
}

} // namespace bench
