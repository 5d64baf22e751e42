#include "Program.h"

#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

const std::vector<Words> OTHER_FORMS = {
    {},
    {"Tamsel"},
    {"Tamsel", "-h"},
    {"Tamsel", "-x"},
    {"Tamsel", "-r"},
    {"Tamsel", "-h", "/Applications/Adobe InDesign 2020.app"},
    {"Tamsel", "/Applications/Adobe InDesign 2020.app", "-r"},
    {"Tamsel", "-r", "/Applications/Adobe InDesign 2020.app", ""},
};

namespace {

// How many allocations are left until one fails; none does at 0.
long remaining = 0;

} // namespace

void* operator new(std::size_t size) {
    const bool fails = remaining > 0 && --remaining == 0;
    void* block = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);
}

Outcome RunProgram(Words words, long failing) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    Outcome outcome{};
    testing::internal::CaptureStdout();
    remaining = failing;
    try {
        outcome.status = TamselMain(static_cast<int>(words.size()), arguments.data());
    } catch (const std::bad_alloc&) {
        outcome.thrown = true;
    }
    outcome.allocationFailed = failing > 0 && remaining == 0;
    remaining = 0;
    outcome.printed = testing::internal::GetCapturedStdout();
    return outcome;
}
