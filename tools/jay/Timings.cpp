#include "tools/jay/Timings.h"

#include <algorithm>

double Timings::milliseconds(Duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

Timings::Summary Timings::summary() const {
    std::vector<double> ms = ms_;
    std::sort(ms.begin(), ms.end());
    const std::size_t n = ms.size();
    return {ms.front(), ms.back(), (ms[(n - 1) / 2] + ms[n / 2]) / 2, ms[n - n / 100 - 1]};
}
