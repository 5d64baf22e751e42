// Loaded before the C library: a clock that shows what the variable CLOCK says, in seconds since
// 1970.

#include <cstdlib>
#include <ctime>

extern "C" std::time_t time(std::time_t* stored) noexcept {
    const std::time_t now = std::atoll(std::getenv("CLOCK"));
    if (stored != nullptr) {
        *stored = now;
    }
    return now;
}
