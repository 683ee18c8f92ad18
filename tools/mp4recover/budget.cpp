#include "budget.h"

#include <algorithm>
#include <sys/resource.h>

namespace {

constexpr double secondsAtLeast = 1;
constexpr double secondsPerMegabyteAndChannel = 0.5; // the rest is for reading and writing

double secondsUsed()
{
    double seconds = 0;
    for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval &time : {usage.ru_utime, usage.ru_stime})
            seconds += double(time.tv_sec) + double(time.tv_usec) / 1e6;
    }
    return seconds;
}

} // namespace

Budget::Budget(std::uint64_t bytes, std::size_t channels)
    : m_end(secondsUsed() + secondsAtLeast
            + secondsPerMegabyteAndChannel * double(bytes) / 1e6 * double(std::max<std::size_t>(1, channels)))
{
}

double Budget::left() const { return m_end - secondsUsed(); }
