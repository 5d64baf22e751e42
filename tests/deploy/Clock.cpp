// Loaded before the C library: a clock that shows what the variable CLOCK says, in seconds since
// 1970. The clock that only measures durations is left alone.

#include <cstdlib>
#include <ctime>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

bool Shown(std::time_t& seconds) {
    const char* clock = std::getenv("CLOCK");
    if (clock != nullptr) {
        seconds = std::atoll(clock);
    }
    return clock != nullptr;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t id, timespec* time) noexcept {
    std::time_t seconds = 0;
    if (id != CLOCK_REALTIME || !Shown(seconds)) {
        return static_cast<int>(syscall(SYS_clock_gettime, id, time));
    }
    *time = {seconds, 0};
    return 0;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now = {};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return result;
}

std::time_t time(std::time_t* stored) noexcept {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (stored != nullptr) {
        *stored = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"
