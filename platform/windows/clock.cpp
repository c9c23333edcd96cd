// The monotonic clock: the system's performance counter.
#include <korvan/platform.h>

double korvan::MonotonicSeconds() {
    static const double frequency = [] {
        LARGE_INTEGER ticksPerSecond;
        QueryPerformanceFrequency(&ticksPerSecond);
        return static_cast<double>(ticksPerSecond.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / frequency;
}
