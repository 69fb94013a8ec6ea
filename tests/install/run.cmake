# Installs the project into a scratch prefix, then builds and runs a small
# consumer program against it: through find_package with a version (and checks
# that a version it does not satisfy is refused), and through pkg-config, run
# without LD_LIBRARY_PATH (the .pc file carries the rpath).
#
#   -DBUILD_DIR=<configured build tree>  install that tree, or
#   -DPROJECT_DIR=<source tree>          configure, build and install it afresh,
#                                        with GoogleTest and Google Benchmark hidden
#   -DSOURCE_DIR=<this directory> -DWORK_DIR=<scratch directory>
#   [-DGENERATOR=Ninja] [-DEXTRA_ARGS=...]
file(REMOVE_RECURSE ${WORK_DIR})
if(NOT GENERATOR)
  set(GENERATOR Ninja)
endif()

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(rc)
    message(FATAL_ERROR "${what} failed: ${rc}\n${out}\n${err}")
  endif()
  set(run_output "${out}${err}" PARENT_SCOPE)
endfunction()

if(PROJECT_DIR)
  # A machine without the test frameworks: find_package cannot see them and
  # the GoogleTest sources are not used either.
  run("configure without test frameworks" ${CMAKE_COMMAND} -S ${PROJECT_DIR}
    -B ${WORK_DIR}/build -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Release
    -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON
    -DZQ_GTEST_SOURCE_DIR=${WORK_DIR}/no-googletest -DZQ_INSTALL_TEST=OFF ${EXTRA_ARGS})
  foreach(expected "GoogleTest not found: the unit tests are not built"
                   "Google Benchmark not found: bench/ is not built")
    string(FIND "${run_output}" "${expected}" at)
    if(at EQUAL -1)
      message(FATAL_ERROR "configure did not say \"${expected}\":\n${run_output}")
    endif()
  endforeach()
  run("build" ${CMAKE_COMMAND} --build ${WORK_DIR}/build -j 2)
  if(EXISTS ${WORK_DIR}/build/tests/test_core OR EXISTS ${WORK_DIR}/build/bench/zq_bench)
    message(FATAL_ERROR "test or benchmark programs were built without their frameworks")
  endif()
  set(BUILD_DIR ${WORK_DIR}/build)
endif()

run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)

# find_package with a version the package satisfies, then one it does not.
run("consumer configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer
  -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DZQ_WANTED_VERSION=0.1)
run("consumer build" ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run("consumer (find_package)" ${WORK_DIR}/consumer/consumer)
message(STATUS "find_package consumer: ${run_output}")
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer-v1
  -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix -DZQ_WANTED_VERSION=1.0
  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
if(NOT rc)
  message(FATAL_ERROR "find_package(zq 1.0 CONFIG) accepted the 0.x package")
endif()

# pkg-config: build with its flags only, run with no library path set.
find_program(PKG_CONFIG pkg-config REQUIRED)
find_program(CXX NAMES c++ g++ REQUIRED)
file(GLOB pc_dirs ${WORK_DIR}/prefix/lib*/pkgconfig ${WORK_DIR}/prefix/lib/*/pkgconfig)
string(REPLACE ";" ":" pc_path "${pc_dirs}")
set(ENV{PKG_CONFIG_PATH} "${pc_path}")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs zq_cv OUTPUT_VARIABLE flags
  RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${PKG_CONFIG} --modversion zq_cv OUTPUT_VARIABLE version
  OUTPUT_STRIP_TRAILING_WHITESPACE)
if(rc OR NOT flags MATCHES "-Wl,-rpath,")
  message(FATAL_ERROR "pkg-config gave no rpath (rc ${rc}): ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run("consumer (pkg-config) build" ${CXX} -std=c++17 "-DZQ_EXPECTED_VERSION=\"${version}\""
  ${SOURCE_DIR}/consumer/main.cpp ${flags} -o ${WORK_DIR}/consumer_pc)
unset(ENV{LD_LIBRARY_PATH})
run("consumer (pkg-config)" ${WORK_DIR}/consumer_pc)
message(STATUS "pkg-config consumer: ${run_output}")
