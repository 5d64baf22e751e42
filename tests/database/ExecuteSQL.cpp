// Hands its standard input to SQLUtils::ExecuteSQL and prints what that returned. The tests start
// it in the sandbox.

#include "SQLUtils.h"

#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>

int main() {
    const std::string sql{std::istreambuf_iterator<char>(std::cin), {}};
    const bool result = SQLUtils::ExecuteSQL(sql);
    std::printf("returned %s\n", result ? "true" : "false");
}
