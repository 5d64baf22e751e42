#include "Tables.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vector>

// The C++ runtime registers the destruction of each object with static lifetime through this
// function, right after the object is built. Defined here, it records the objects before it hands
// them on, and so shows the order in which the tables are built.

namespace {

std::array<const void*, 1000> registered;
std::size_t registrations = 0;

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __cxa_atexit(void (*destroy)(void*), void* object, void* library) {
    if (registrations < registered.size()) {
        registered[registrations++] = object;
    }
    using Function = int (*)(void (*)(void*), void*, void*);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "__cxa_atexit"));
    return next(destroy, object, library);
}

namespace {

TEST(StartUp, BuildsTheTenTablesInTheirOrder) {
    ASSERT_LT(registrations, registered.size()) << "some registrations were not written down";
    const std::vector<const void*> inOrder = {
        &productLine,       &INCOPYCC2019WIN64, &INCOPYCC2019MAC, &INDESIGNCC2019WIN64,
        &INDESIGNCC2019MAC, &INCOPYCC2020WIN64, &INCOPYCC2020MAC, &INDESIGNCC2020WIN64,
        &INDESIGNCC2020MAC, &STRINGTABLE,
    };

    std::vector<const void*> tables;
    for (std::size_t i = 0; i < registrations; ++i) {
        if (std::find(inOrder.begin(), inOrder.end(), registered[i]) != inOrder.end()) {
            tables.push_back(registered[i]);
        }
    }
    EXPECT_EQ(tables, inOrder);

    // A position and a literal have nothing to destroy.
    const auto end = registered.begin() + static_cast<std::ptrdiff_t>(registrations);
    EXPECT_EQ(std::find(registered.begin(), end, &prodIt), end);
    EXPECT_EQ(std::find(registered.begin(), end, &EXMANDBPATH), end);
}

} // namespace
