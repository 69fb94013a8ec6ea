# Installs the build tree into a scratch prefix, then builds and runs a small
# consumer program against it twice: through find_package and through
# pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed: ${rc}")
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${WORK_DIR}/consumer
  -G Ninja -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed: ${rc}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed: ${rc}")
endif()
execute_process(COMMAND ${WORK_DIR}/consumer/consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(rc)
  message(FATAL_ERROR "consumer (find_package) failed: ${rc}\n${out}")
endif()
message(STATUS "find_package consumer: ${out}")

find_program(PKG_CONFIG pkg-config REQUIRED)
find_program(CXX NAMES c++ g++ REQUIRED)
file(GLOB pc_dirs ${WORK_DIR}/prefix/lib*/pkgconfig ${WORK_DIR}/prefix/lib/*/pkgconfig)
string(REPLACE ";" ":" pc_path "${pc_dirs}")
set(ENV{PKG_CONFIG_PATH} "${pc_path}")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs zq_cv OUTPUT_VARIABLE flags
  RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(rc)
  message(FATAL_ERROR "pkg-config failed: ${rc}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${CXX} -std=c++17 ${SOURCE_DIR}/consumer/main.cpp ${flags}
  -o ${WORK_DIR}/consumer_pc RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer (pkg-config) build failed: ${rc}")
endif()
string(REPLACE "-L" "" libdir "${flags}")
list(FILTER libdir INCLUDE REGEX "^/")
set(ENV{LD_LIBRARY_PATH} "${libdir}")
execute_process(COMMAND ${WORK_DIR}/consumer_pc RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(rc)
  message(FATAL_ERROR "consumer (pkg-config) failed: ${rc}\n${out}")
endif()
message(STATUS "pkg-config consumer: ${out}")
