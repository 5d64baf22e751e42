#include "Tables.h"

#include <algorithm>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <vector>

// The C++ runtime registers the destruction of each object with static lifetime through this
// function, right after the object is built. Defined here, it records the objects before it hands
// them on, and so shows the order in which the tables are built.

namespace {

std::vector<const void*>& Registered() {
    // Never destroyed, and so not registered itself.
    static auto* const registered = new std::vector<const void*>;
    return *registered;
}

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __cxa_atexit(void (*destroy)(void*), void* object, void* library) {
    Registered().push_back(object);
    using Function = int (*)(void (*)(void*), void*, void*);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "__cxa_atexit"));
    return next(destroy, object, library);
}

TEST(StartUp, BuildsTheTenTablesInTheirOrder) {
    const std::vector<const void*> inOrder = {
        &productLine,       &INCOPYCC2019WIN64, &INCOPYCC2019MAC, &INDESIGNCC2019WIN64,
        &INDESIGNCC2019MAC, &INCOPYCC2020WIN64, &INCOPYCC2020MAC, &INDESIGNCC2020WIN64,
        &INDESIGNCC2020MAC, &STRINGTABLE,
    };
    std::vector<const void*> tables;
    for (const void* object : Registered()) {
        if (std::find(inOrder.begin(), inOrder.end(), object) != inOrder.end()) {
            tables.push_back(object);
        }
    }
    EXPECT_EQ(tables, inOrder);
}
