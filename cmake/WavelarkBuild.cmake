# Settings of all targets (language level, warnings, hardening), and two functions that declare a layer's
# library and a test program.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# All code is linked into programs, so no function can be replaced at run time. With hidden visibility the
# compiler can rely on that.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# Warnings are errors only with CMAKE_COMPILE_WARNING_AS_ERROR, as in the preset `strict`, because other
# compilers may have other warnings.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow
                    -fstack-protector-strong -ffunction-sections -fdata-sections)
# In C++, g++ does not include -Wsign-conversion in -Wconversion. Clang does.
add_compile_options($<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
# g++ warns falsely about unused alternatives of a std::variant. Clang and the sanitizers find real uses
# of uninitialised values.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
# Log lines and assertions show source paths relative to the project, wherever it was built.
add_compile_options("-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
# With a base_dir, ccache passes paths relative to the build directory to the compiler.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache")
  file(RELATIVE_PATH from_build "${PROJECT_BINARY_DIR}" "${PROJECT_SOURCE_DIR}/cmake")
  cmake_path(GET from_build PARENT_PATH from_build)
  add_compile_options("-fmacro-prefix-map=${from_build}/=")
endif()
add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro -Wl,-z,now)

if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

if(WAVELARK_BUILD_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# The lab's virtual machine is a PC and runs releases: emulation is too slow for other builds.
set(WAVELARK_LAB OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CMAKE_CROSSCOMPILING)
  set(WAVELARK_LAB ON)
endif()

# Options of code that only tests use: less debug information in a release.
# g++ 12 to 14 warn falsely about overruns where strings are concatenated; Clang and the sanitizers find real
# ones.
set(WAVELARK_TEST_OPTIONS
    $<$<CONFIG:Release>:-g1>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>
    $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>)
# A release does not optimise the cases of a test program: without optimisation they compile in 65 % of the
# time. _FORTIFY_SOURCE needs optimisation; SHELL: keeps CMake from removing an option that is there already.
set(WAVELARK_TEST_CASE_OPTIONS
    ${WAVELARK_TEST_OPTIONS}
    $<$<CONFIG:Release>:-O0>
    "SHELL:$<$<CONFIG:Release>:-U_FORTIFY_SOURCE>")

# A precompiled header saves 49 % of the compile time of a test under the sanitizers and 40 % in a release.
# ccache saves more, but does not cache sources that use a precompiled header.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache")
  set(precompile_headers OFF)
else()
  set(precompile_headers ON)
endif()
option(WAVELARK_PRECOMPILE_HEADERS "Read what most tests include once for all tests"
       ${precompile_headers})

if(WAVELARK_BUILD_TESTS AND WAVELARK_PRECOMPILE_HEADERS)
  # Contains only a precompiled header. The header must be compiled with the options of the tests: those
  # of a program, and the definitions that the included headers need.
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/test_headers.cc" CONTENT "")
  add_library(wavelark_test_headers OBJECT "${PROJECT_BINARY_DIR}/test_headers.cc")
  set_target_properties(wavelark_test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(wavelark_test_headers PRIVATE
    ${CMAKE_CXX_COMPILE_OPTIONS_PIE} ${WAVELARK_TEST_CASE_OPTIONS})
  target_link_libraries(wavelark_test_headers PRIVATE GTest::gmock fmt::fmt)
  target_precompile_headers(wavelark_test_headers PRIVATE
    <fmt/format.h> <gmock/gmock.h> <gtest/gtest.h>
    <algorithm> <array> <chrono> <cstdint> <functional> <map> <memory> <optional> <span> <string>
    <string_view> <utility> <vector>)
endif()

# wavelark_library(NAME SOURCES... LINK ...): one layer, as a static library `wavelark_NAME`.
function(wavelark_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
  add_library(wavelark_${name} STATIC ${ARG_SOURCES})
  target_include_directories(wavelark_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(wavelark_${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE_LINK})
endfunction()

# wavelark_test(NAME SOURCES... LINK ... [LABELS ...] [MAIN target]): a GoogleTest program whose cases are
# separate ctest tests. MAIN replaces GTest::gmock_main. The test presets have the time limit of a test: far
# above what the longest one takes on a busy machine.
function(wavelark_test name)
  cmake_parse_arguments(ARG "" "MAIN" "SOURCES;LINK;LABELS;PROPERTIES" ${ARGN})
  if(NOT WAVELARK_BUILD_TESTS)
    return()
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(NOT ARG_MAIN)
    set(ARG_MAIN GTest::gmock_main)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_compile_options(${name} PRIVATE ${WAVELARK_TEST_CASE_OPTIONS})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock ${ARG_MAIN} fmt::fmt)
  if(WAVELARK_PRECOMPILE_HEADERS)
    target_precompile_headers(${name} REUSE_FROM wavelark_test_headers)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 600
                       PROPERTIES LABELS "${ARG_LABELS}" ${ARG_PROPERTIES})
endfunction()
