#include <korvan/platform.h>

#include <chrono>

double korvan::MonotonicSeconds() {
    using Seconds = std::chrono::duration<double>;
    return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
