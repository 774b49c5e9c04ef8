#ifndef JAY_TOOLS_JAY_TIMINGS_H
#define JAY_TOOLS_JAY_TIMINGS_H

#include <chrono>
#include <vector>

/** Durations that were measured, and what they come to, in milliseconds. */
class Timings {
public:
    using Duration = std::chrono::steady_clock::duration;

    struct Summary {
        double least, most;
        double median;        ///< the middle one, or half-way between the two
        double percentile99;  ///< the least that no more than 1 in 100 exceed
    };

    void add(Duration duration) { ms_.push_back(milliseconds(duration)); }
    bool isEmpty() const { return ms_.empty(); }

    /** Of at least one. */
    Summary summary() const;

    static double milliseconds(Duration duration);

private:
    std::vector<double> ms_;
};

#endif
