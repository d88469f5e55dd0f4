# Installs the built tree into a scratch prefix, then builds an outside consumer against it twice:
# through find_package(VantrellCore) and through pkg-config vantrell-core. Each must print its line, and
# so must the installed host, all with LD_LIBRARY_PATH unset: the run paths must find the library.
file(REMOVE_RECURSE ${WORK_DIR})
set(PREFIX ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

function(expect_consumer_output binary)
  run(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${binary})
  if(NOT LAST_OUTPUT STREQUAL "consumer 42\n")
    message(FATAL_ERROR "unexpected output of ${binary}: '${LAST_OUTPUT}'")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/consumer -B ${WORK_DIR}/cmake-build -G Ninja
    -DCMAKE_PREFIX_PATH=${PREFIX})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
expect_consumer_output(${WORK_DIR}/cmake-build/consumer)

# pkg-config: the .pc file lies under lib/ or lib/<multiarch>/ depending on GNUInstallDirs.
file(GLOB_RECURSE pc_files ${PREFIX}/*/vantrell-core.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} pkg-config --cflags --libs vantrell-core)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ ${SOURCE_DIR}/tests/install/consumer/main.cpp -o ${WORK_DIR}/pc-consumer ${flags})
expect_consumer_output(${WORK_DIR}/pc-consumer)

# The installed host finds its plug-ins in bin/plugins and its configuration in share/vantrell.
run(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH --unset=VANTRELL_DATA_DIR ${PREFIX}/bin/vantrell -t 0.3 -n 50 -f cpu)
if(NOT LAST_OUTPUT MATCHES "CPU Utilization Summary")
  message(FATAL_ERROR "unexpected output of the installed host: '${LAST_OUTPUT}'")
endif()
