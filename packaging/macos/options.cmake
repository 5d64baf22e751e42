# What toolchain.cmake leaves to the end of project(), which sets CMake's own options for the compiler.

# On macOS everything can be loaded anywhere, and no linker needs to be told so.
set(CMAKE_CXX_COMPILE_OPTIONS_PIE -fPIC)

# The compiler brings a C++ library, which becomes part of the program. What the library of the
# oldest macOS lacks is still an error, since the same sources are built on Macs, too.
set(as_on_a_mac -U_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS -Wunguarded-availability)
add_compile_options(${as_on_a_mac})

# Such a function, to check that this is so.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_FLAGS -std=c++17)
set(CMAKE_REQUIRED_DEFINITIONS ${as_on_a_mac})
check_cxx_source_compiles([[
  #include <charconv>
  char text[9];
  int main() { return *std::to_chars(text, text + 9, 0.5).ptr; }
]] TAMSEL_NEW_LIBRARY)
unset(CMAKE_REQUIRED_FLAGS)
unset(CMAKE_REQUIRED_DEFINITIONS)
if(TAMSEL_NEW_LIBRARY)
  message(FATAL_ERROR "The compiler does not tell what the C++ library of macOS lacks")
endif()
