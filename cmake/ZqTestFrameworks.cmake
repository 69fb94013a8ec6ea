# Finds GoogleTest for tests/ and Google Benchmark for bench/. Either may be
# missing: the library, its install and the examples do not need them, and the
# parts that do are skipped with a message.
#
# GoogleTest comes from its installed CMake package or, when cross-compiling
# (or with ZQ_GTEST_FROM_SOURCE, or when no package is found), is built from
# the sources Debian ships in /usr/src/googletest. CMAKE_DISABLE_FIND_PACKAGE_GTest
# hides both ways; CMAKE_DISABLE_FIND_PACKAGE_benchmark hides Google Benchmark.
#
# Sets ZQ_GTEST_LIBS (empty when not found) and ZQ_BENCHMARK_FOUND.

set(ZQ_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources to build from")
set(ZQ_GTEST_LIBS "")
if(ZQ_BUILD_TESTS AND NOT CMAKE_DISABLE_FIND_PACKAGE_GTest)
  if(NOT CMAKE_CROSSCOMPILING AND NOT ZQ_GTEST_FROM_SOURCE)
    find_package(GTest QUIET)
    if(GTest_FOUND)
      set(ZQ_GTEST_LIBS GTest::gtest GTest::gtest_main)
    endif()
  endif()
  if(NOT ZQ_GTEST_LIBS AND EXISTS ${ZQ_GTEST_SOURCE_DIR}/CMakeLists.txt)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    add_subdirectory(${ZQ_GTEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    set(ZQ_GTEST_LIBS gtest gtest_main)
  endif()
endif()
if(ZQ_BUILD_TESTS AND NOT ZQ_GTEST_LIBS)
  message(STATUS "GoogleTest not found: the unit tests are not built "
                 "(the guide and install checks still run; -DZQ_BUILD_TESTS=OFF drops all tests)")
endif()

set(ZQ_BENCHMARK_FOUND FALSE)
if(ZQ_BUILD_BENCH)
  find_package(benchmark QUIET)
  if(benchmark_FOUND)
    set(ZQ_BENCHMARK_FOUND TRUE)
  else()
    message(STATUS "Google Benchmark not found: bench/ is not built (-DZQ_BUILD_BENCH=OFF silences this)")
  endif()
endif()
