#include "../fuzz/PathProperties.h"

#include <cstddef>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char ALPHABET[] = {'/', '.', 'a', '\xE4'};
constexpr std::size_t LONGEST = 10;

TEST(PathUtils, KeepsItsPromisesForEveryShortPath) {
    std::size_t checked = 0;
    std::vector<std::string> paths = {""};
    for (std::size_t length = 0; length <= LONGEST; ++length) {
        std::vector<std::string> longer;
        for (const std::string& path : paths) {
            const char* broken = BrokenProperty(path);
            ASSERT_EQ(broken, nullptr) << path << ": " << broken;
            ++checked;
            for (const char byte : ALPHABET) {
                longer.push_back(path + byte);
            }
        }
        paths = std::move(longer);
    }
    EXPECT_EQ(checked, 1398101U); // 4^0 + 4^1 + ... + 4^10
    std::printf("figure: %zu paths of up to %zu bytes\n", checked, LONGEST);
}

} // namespace
