// Loaded before the C library, fails one allocation of the program: the one whose number is in the
// variable FAIL_ALLOCATION, counted from the program's own start-up. It then says so on standard
// error. Programs that the program starts are left alone.

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <string_view>
#include <unistd.h>

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

// How many allocations there are up to the one that fails. None fails at 0.
long remaining = 0;

__attribute__((constructor)) void Begin() {
    const char* number = std::getenv("FAIL_ALLOCATION");
    remaining = number == nullptr ? 0 : std::strtol(number, nullptr, 10);
    unsetenv("FAIL_ALLOCATION");
    unsetenv("LD_PRELOAD");
}

bool Fails() {
    if (remaining == 0 || --remaining > 0) {
        return false;
    }
    constexpr std::string_view SAID = "allocation failed\n";
    [[maybe_unused]] const auto ignored = write(STDERR_FILENO, SAID.data(), SAID.size());
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" void* malloc(std::size_t size) {
    return Fails() ? nullptr : __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    return Fails() ? nullptr : __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, std::size_t size) {
    return Fails() ? nullptr : __libc_realloc(block, size);
}
