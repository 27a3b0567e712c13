# How every target of the house is compiled, said once.

# 256-bit vectors, the one instruction level the engine is written for. Another one is for scripts/same-bits.sh alone.
set(QUINDAL_ARCHITECTURE x86-64-v3 CACHE STRING "Instructions that the compiler may use, as in -march=")
mark_as_advanced(QUINDAL_ARCHITECTURE)

add_library(quindal_flags INTERFACE)
target_compile_features(quindal_flags INTERFACE cxx_std_20 c_std_99)
target_compile_options(quindal_flags INTERFACE
  -march=${QUINDAL_ARCHITECTURE}
  -ffp-contract=off # no fused multiply-add behind our back: same input, same bits, every build
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
  # gcc 12 sees overlaps in std::string's operator+ that are not there.
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-Wno-restrict>
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility=hidden -fvisibility-inlines-hidden>)
if(QUINDAL_SANITIZE)
  # Half of the compiling would be the optimizer and what a debugger reads. A finding names lines of what is tested, which
  # is optimised; of the tests it names functions.
  target_compile_options(quindal_flags INTERFACE
    $<IF:$<BOOL:$<TARGET_PROPERTY:QUINDAL_IS_TEST>>,-O0;-g0,-O1;-g1>
    -fsanitize=${QUINDAL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quindal_flags INTERFACE -fsanitize=${QUINDAL_SANITIZE})
  # The thread sanitizer has to see every allocation, so its operator new stands before that of a test that counts them.
  if(QUINDAL_SANITIZE STREQUAL "thread")
    target_link_options(quindal_flags INTERFACE -Wl,--allow-multiple-definition)
  endif()
endif()
if(QUINDAL_COVERAGE)
  target_compile_options(quindal_flags INTERFACE --coverage)
  target_link_options(quindal_flags INTERFACE --coverage)
endif()

# A shared library leaves no name open. Under sanitizers it has to: clang keeps their functions in the programs.
if(NOT QUINDAL_SANITIZE AND NOT QUINDAL_FUZZ)
  set(QUINDAL_NO_OPEN_NAMES -Wl,--no-undefined)
endif()

# What the units are compiled with in a release: a function a section, so that what is linked of them carries no function
# that nothing calls; and line tables, out of which tests/structure reads what a program reaches. No other program keeps
# them.
set(QUINDAL_SECTIONS $<$<CONFIG:Release>:-ffunction-sections;-fdata-sections;-g1;-gno-column-info>
  $<$<CONFIG:Release>:-fdebug-prefix-map=${CMAKE_SOURCE_DIR}=.>)
set(QUINDAL_NO_LINE_TABLES $<$<CONFIG:Release>:-Wl,--strip-debug>)

# What is installed binds every name at its start, and the table of names is read-only from then on: a name that another
# libZ9Sys lacks is told when the library is loaded, not in the middle of a day.
set(QUINDAL_BOUND_AT_START $<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)

# quindal_carries_what_it_reaches(TARGET): the linker leaves out what no road from the program's doors leads to.
function(quindal_carries_what_it_reaches target)
  target_compile_options(${target} PRIVATE ${QUINDAL_SECTIONS})
  target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-Wl,--gc-sections> ${QUINDAL_NO_LINE_TABLES}
    ${QUINDAL_BOUND_AT_START})
endfunction()

# quindal_few_objects(TARGET): up to eight sources of a target are compiled together, since half of the compiling is
# reading headers. The engine of a release stays a source an object, so that what its kernels are inlined into does not
# depend on which file stands beside which.
function(quindal_few_objects target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${QUINDAL_UNITY} UNITY_BUILD_BATCH_SIZE 8)
endfunction()

# quindal_unit(NAME DEPENDS unit... SOURCES file... [PRIVATE_LIBS lib...])
# One unit of the house: a static library with include/ for its readers and source/ for itself.
function(quindal_unit name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;SOURCES;PRIVATE_LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC include PRIVATE source)
  target_link_libraries(${name} PUBLIC quindal_flags ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_LIBS})
  target_compile_options(${name} PRIVATE ${QUINDAL_SECTIONS})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  if(QUINDAL_SANITIZE OR NOT name STREQUAL "kv7go")
    quindal_few_objects(${name})
  endif()
endfunction()

# quindal_test(NAME DEPENDS lib... SOURCES file... [LABELS label...])
# One test program; CTest sees each of its cases by name.
#
# Most of a test's compiling is reading headers, so up to fourteen sources of a program are compiled together; each
# *Test.cpp has a namespace of its own, test::<its name>. What is no such source (doubles, replaced operators) stays by
# itself.
function(quindal_test name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;SOURCES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES UNITY_BUILD ${QUINDAL_UNITY} UNITY_BUILD_BATCH_SIZE 14)
  list(FILTER ARG_SOURCES EXCLUDE REGEX "Test\\.cpp$")
  set_source_files_properties(${ARG_SOURCES} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  target_link_libraries(${name} PRIVATE quindal_flags ${ARG_DEPENDS} GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/support)
  # Compiled for each change and run once: a third of the compiler's time is saved, and the walks' own models take twice
  # theirs, a second or two. What is tested keeps its -O3.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O0>)
  set_target_properties(${name} PROPERTIES QUINDAL_IS_TEST ON)
  target_link_options(${name} PRIVATE ${QUINDAL_NO_LINE_TABLES})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT 120)
endfunction()
