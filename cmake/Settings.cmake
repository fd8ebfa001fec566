# One language level inside, position-independent code, hidden symbols, and the build tree laid out
# like an installation (bin, lib, share), so that data files are found the same way in both. All of it
# holds for this project alone, also within another one.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

option(VESTA2_WARNINGS_AS_ERRORS "Fail the build on a compiler warning" OFF)
option(VESTA2_BUILD_CLI "Build the command" ${PROJECT_IS_TOP_LEVEL})
option(VESTA2_BUILD_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(VESTA2_BUILD_BENCH "Build the benchmarks" ${PROJECT_IS_TOP_LEVEL})
option(VESTA2_INSTALL "Install what is built" ${PROJECT_IS_TOP_LEVEL})
set(VESTA2_SANITIZER "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
option(VESTA2_FUZZ "Link the fuzz targets with libFuzzer, of clang" OFF)
include(CMakeDependentOption)
cmake_dependent_option(VESTA2_STATIC_CLI
  "Link the command to nothing shared but the C library" ON "NOT VESTA2_SANITIZER" OFF)

# What only the library loads, below the directory of libraries: versions whose libraries may be
# installed side by side do not share it.
set(VESTA2_MODULE_DIR vesta2-${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

# From the directory of programs to that of libraries, in an installation.
file(RELATIVE_PATH VESTA2_LIBDIR_FROM_BINDIR
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
