#include "PathProperties.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* broken = BrokenProperty(std::string(data, data + size));
    if (broken != nullptr) {
        std::fprintf(stderr, "broken: %s\n", broken);
        std::abort();
    }
    return 0;
}
