# What toolchain.cmake leaves to the end of project(), which sets CMake's own options for the compiler.

# On macOS everything can be loaded anywhere, and no linker needs to be told so.
set(CMAKE_CXX_COMPILE_OPTIONS_PIE -fPIC)

# The compiler brings a C++ library, which becomes part of the program. What the library of the
# oldest macOS lacks is still an error, since the same sources are built on Macs, too.
add_compile_options(-U_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS -Wunguarded-availability)
