# The build in one place: flags, output folders, and one-line helpers.
#
#   tarvex_library(NAME SOURCES ... [DEPENDS ...] [PRIVATE ...] [TESTS ...] [TEST_DEPENDS ...])
#   tarvex_interface(NAME [DEPENDS ...])
#   tarvex_shared(NAME SOURCES ... [DEPENDS ...] [PRIVATE ...])
#   tarvex_module(NAME [DEPENDS ...] [PRIVATE ...] [TEST_DEPENDS ...])
#   tarvex_test(NAME SOURCES ... [DEPENDS ...])
#   tarvex_program(NAME SOURCES ... [DEPENDS ...] [OUTPUT_DIR ...])
#
# What an installation has (cmake/TarvexInstall.cmake): shared libraries and modules on their own, and
# what a room says of its programs and files.
#
# DEPENDS names targets whose headers this target's own headers include; PRIVATE those that only
# its .cpp files need. TESTS are the <file>_test.cpp beside the code; they become one GoogleTest
# program NAME_test. Every call is recorded for tests/layering.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/archive")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

add_compile_options(-Wall -Wextra -Wconversion -Werror -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlaps in std::string's operator+ that are not there (GCC bug 105651).
  add_compile_options(-Wno-restrict)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)
if(TARVEX_SANITIZE)
  add_compile_options(-fsanitize=${TARVEX_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TARVEX_SANITIZE})
  # The sanitizers call dlopen in the program's place, and only this kind of path holds for them, too.
  add_link_options(-Wl,--disable-new-dtags)
  if(TARVEX_SANITIZE MATCHES "undefined")
    # The vptr check wants type information across libraries that hide what they do not export.
    add_compile_options(-fno-sanitize-recover=undefined -fno-sanitize=vptr)
  endif()
endif()

if(TARVEX_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
if(TARVEX_TESTS)
  enable_testing()
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()

include(TarvexInstall)

function(_tarvex_record name)
  file(RELATIVE_PATH dir "${CMAKE_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  list(JOIN ARGN " " deps)
  set_property(GLOBAL APPEND PROPERTY TARVEX_LAYERING "${name}|${dir}|${deps}")
endfunction()

# Writes build/<preset>/layering.txt: one line per target, "name|folder|dependency dependency".
function(tarvex_write_layering_map)
  get_property(rows GLOBAL PROPERTY TARVEX_LAYERING)
  list(JOIN rows "\n" text)
  file(WRITE "${CMAKE_BINARY_DIR}/layering.txt" "${text}\n")
endfunction()

function(_tarvex_unit_test name)
  cmake_parse_arguments(A "" "" "TESTS;TEST_DEPENDS;DEPENDS" ${ARGN})
  if(TARVEX_TESTS AND A_TESTS)
    tarvex_test(${name}_test SOURCES ${A_TESTS} DEPENDS ${A_DEPENDS} ${A_TEST_DEPENDS})
  endif()
endfunction()

function(tarvex_library name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPENDS;PRIVATE;TESTS;TEST_DEPENDS" ${ARGN})
  add_library(${name} STATIC ${A_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC ${A_DEPENDS} PRIVATE ${A_PRIVATE})
  _tarvex_record(${name} ${A_DEPENDS} ${A_PRIVATE})
  _tarvex_unit_test(${name} TESTS ${A_TESTS} TEST_DEPENDS ${A_TEST_DEPENDS}
                    DEPENDS ${name} ${A_PRIVATE})
endfunction()

function(tarvex_interface name)
  cmake_parse_arguments(A "" "" "DEPENDS" ${ARGN})
  add_library(${name} INTERFACE)
  target_include_directories(${name} INTERFACE "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} INTERFACE ${A_DEPENDS})
  _tarvex_record(${name} ${A_DEPENDS})
endfunction()

function(tarvex_shared name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPENDS;PRIVATE" ${ARGN})
  add_library(${name} SHARED ${A_SOURCES})
  set_target_properties(${name} PROPERTIES PREFIX "lib" BUILD_RPATH "$ORIGIN")
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC ${A_DEPENDS} PRIVATE ${A_PRIVATE})
  target_link_options(${name} PRIVATE -Wl,--exclude-libs,ALL)
  tarvex_install_private(${name})
  _tarvex_record(${name} ${A_DEPENDS} ${A_PRIVATE})
endfunction()

# A diagnostic module: its code as a static library NAME_code for the unit tests, and the plug-in
# build/<preset>/lib/orvan/modules/NAME.so, which exports OrvanModuleEntry and nothing else. Its
# sources are the *.cpp of the folder and of the folders in it, of which *_test.cpp are the unit tests
# and entry.cpp is the entry.
function(tarvex_module name)
  cmake_parse_arguments(A "" "" "DEPENDS;PRIVATE;TEST_DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "*.cpp" "*/*.cpp")
  file(GLOB tests CONFIGURE_DEPENDS "*_test.cpp" "*/*_test.cpp")
  list(REMOVE_ITEM sources ${tests} "${CMAKE_CURRENT_SOURCE_DIR}/entry.cpp")
  tarvex_library(${name}_code SOURCES ${sources} DEPENDS ${A_DEPENDS} PRIVATE ${A_PRIVATE}
                 TESTS ${tests} TEST_DEPENDS ${A_TEST_DEPENDS})
  add_library(${name}_module MODULE "${CMAKE_CURRENT_SOURCE_DIR}/entry.cpp")
  target_link_libraries(${name}_module PRIVATE ${name}_code)
  target_link_options(${name}_module PRIVATE
    -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/module_exports.map)
  set_target_properties(${name}_module PROPERTIES PREFIX "" OUTPUT_NAME ${name}
    LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib/orvan/modules"
    BUILD_RPATH "$ORIGIN/../.." LINK_DEPENDS "${CMAKE_SOURCE_DIR}/cmake/module_exports.map")
  tarvex_install_private(${name}_module orvan/modules)
endfunction()

function(tarvex_program name)
  cmake_parse_arguments(A "" "OUTPUT_DIR" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${A_SOURCES})
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${A_DEPENDS})
  set_target_properties(${name} PROPERTIES BUILD_RPATH "$ORIGIN/../lib")
  if(A_OUTPUT_DIR)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${A_OUTPUT_DIR}")
  endif()
  _tarvex_record(${name} ${A_DEPENDS})
endfunction()

# The dynamic linker looks each symbol of a program, of its libraries and of its plug-ins up library by
# library, in the order in which the program names them. Most are of these two, and others bring many
# more along.
function(tarvex_starts_fast name)
  if(NOT TARVEX_SANITIZE)
    target_link_options(${name} PRIVATE
      -Wl,--push-state,--no-as-needed -l:libc.so.6 -l:libstdc++.so.6 -Wl,--pop-state)
  endif()
endfunction()

function(tarvex_test name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${A_SOURCES})
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${A_DEPENDS} GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE TARVEX_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
                             TARVEX_BINARY_DIR="${CMAKE_BINARY_DIR}")
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests" BUILD_RPATH "$ORIGIN/../lib")
  # One process per test program keeps a full run short; the names inside are GoogleTest's.
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  set_tests_properties(${name} PROPERTIES LABELS unit TIMEOUT 300)
endfunction()

# Builds sources that include <regex>: with the sanitizers GCC sees members of it used before they
# are set that are not (GCC bug 105562).
function(tarvex_uses_regex)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
  endif()
endfunction()
