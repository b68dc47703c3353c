// CPU-time measuring for the benchmarks that print their own figures: the
// best of a few runs in process CPU time, since the machine is shared.
//
//   double seconds = BestOf(3, [&] { Work(); });
#pragma once

#include <time.h>

#include <algorithm>
#include <functional>

inline double CpuSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

inline double BestOf(int runs, const std::function<void()> &work)
{
    double best = 1e30;
    for (int i = 0; i < runs; ++i) {
        double start = CpuSeconds();
        work();
        best = std::min(best, CpuSeconds() - start);
    }
    return best;
}
