# Script mode: install, configure, build and run the consumer; any failing
# step fails the test with its output.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run_step)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "step failed: ${ARGN}\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

run_step(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(header autocount/autocountmanager.h autocount/alg/alg.h autocount/autocount_export.h
               autocount/workers/autocutmanager.h autocount/drawproperty/targetdrawpropertymanager.h
               host/displaycanvas.h host/host_export.h)
    if(NOT EXISTS ${prefix}/include/${header})
        message(FATAL_ERROR "missing installed header ${header}")
    endif()
endforeach()

run_step(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix})
run_step(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
set(ENV{LD_LIBRARY_PATH} "${prefix}/${LIBDIR}:$ENV{LD_LIBRARY_PATH}")
run_step(${WORK_DIR}/build/consumer)
if(NOT step_output MATCHES "captured 3x2")
    message(FATAL_ERROR "unexpected consumer output: ${step_output}")
endif()

# The pkg-config file names the libraries and the include directory.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run_step(pkg-config --libs --cflags autocount)
if(NOT step_output MATCHES "-lautocount" OR NOT step_output MATCHES "/include")
    message(FATAL_ERROR "unexpected pkg-config output: ${step_output}")
endif()
