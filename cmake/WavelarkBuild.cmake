# What every target of the project shares: language level, warnings, hardening, and the two
# functions that declare a layer's library and a test program.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
# All of it ends in programs, where nobody else can replace a function: this lets the compiler know.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Werror
                    -fstack-protector-strong -ffunction-sections -fdata-sections)
# Changes of sign, which g++ doesn't count under -Wconversion in C++.
add_compile_options($<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
# Log lines and assertions name a source file by its path in the project, wherever it was built.
add_compile_options("-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro -Wl,-z,now)

if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

if(WAVELARK_BUILD_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

# wavelark_library(NAME SOURCES... LINK ...): one layer, as a static library `wavelark_NAME`.
function(wavelark_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
  add_library(wavelark_${name} STATIC ${ARG_SOURCES})
  target_include_directories(wavelark_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(wavelark_${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE_LINK})
endfunction()

# wavelark_test(NAME SOURCES... LINK ... [TIMEOUT seconds] [LABELS ...] [MAIN target]): a GoogleTest
# program whose cases are separate ctest tests. MAIN replaces GTest::gmock_main.
function(wavelark_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT;MAIN" "SOURCES;LINK;LABELS;PROPERTIES" ${ARGN})
  if(NOT WAVELARK_BUILD_TESTS)
    return()
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS unit)
  endif()
  if(NOT ARG_MAIN)
    set(ARG_MAIN GTest::gmock_main)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gmock ${ARG_MAIN})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}" ${ARG_PROPERTIES})
endfunction()
