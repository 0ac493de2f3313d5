# Script mode: installs into a fresh prefix, moves the installed tree to
# another path and checks that it still works there: every installed library
# and program finds its libraries through $ORIGIN-relative run paths, and
# outside consumers built with find_package(AutoCount) and with pkg-config run
# from another working directory with no LD_LIBRARY_PATH. Any failing step
# fails the test with its output.
file(REMOVE_RECURSE ${WORK_DIR})
set(staging ${WORK_DIR}/staging)
set(prefix ${WORK_DIR}/moved/prefix)
set(elsewhere ${WORK_DIR}/elsewhere)
file(MAKE_DIRECTORY ${WORK_DIR}/moved ${elsewhere})

# Runs a command with LD_LIBRARY_PATH unset, in @p dir.
function(run_in dir)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${ARGN}
                    WORKING_DIRECTORY ${dir}
                    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "step failed: ${ARGN}\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_output pattern what)
    if(NOT step_output MATCHES "${pattern}")
        message(FATAL_ERROR "unexpected ${what} output: ${step_output}")
    endif()
endfunction()

run_in(${WORK_DIR} ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${staging})
file(RENAME ${staging} ${prefix})

foreach(header autocount/autocountmanager.h autocount/alg/alg.h autocount/autocount_export.h
               autocount/workers/autocutmanager.h autocount/drawproperty/targetdrawpropertymanager.h
               host/displaycanvas.h host/host_export.h)
    if(NOT EXISTS ${prefix}/include/${header})
        message(FATAL_ERROR "missing installed header ${header}")
    endif()
endforeach()

# Every installed ELF file carries a run path, and each of its entries is
# relative to the file's own location; the loader then resolves all of its
# libraries.
file(GLOB_RECURSE installed LIST_DIRECTORIES false ${prefix}/${LIBDIR}/* ${prefix}/${BINDIR}/*)
set(binaries 0)
foreach(file ${installed})
    if(IS_SYMLINK ${file})
        continue()
    endif()
    file(READ ${file} magic LIMIT 4 HEX)
    if(NOT magic STREQUAL "7f454c46")
        continue()
    endif()
    math(EXPR binaries "${binaries} + 1")
    run_in(${elsewhere} readelf -d ${file})
    if(NOT step_output MATCHES "\\((RUNPATH|RPATH)\\)[^\n]*\\[([^]\n]*)\\]")
        message(FATAL_ERROR "${file} has no run path")
    endif()
    string(REPLACE ":" ";" entries "${CMAKE_MATCH_2}")
    foreach(entry ${entries})
        if(NOT entry MATCHES "^\\$ORIGIN(/|$)")
            message(FATAL_ERROR "${file} has a run path entry that is not relative: ${entry}")
        endif()
    endforeach()
    run_in(${elsewhere} ldd ${file})
    if(step_output MATCHES "not found")
        message(FATAL_ERROR "${file} misses libraries after the move:\n${step_output}")
    endif()
endforeach()
if(binaries LESS 4) # two libraries, the command-line tool and the studio
    message(FATAL_ERROR "only ${binaries} installed ELF files found under ${prefix}")
endif()

# The installed command-line tool counts the installed sample.
run_in(${elsewhere} ${prefix}/${BINDIR}/autocount count
       ${prefix}/${DATADIR}/autocount/samples/cells.png)
expect_output("40 objects" "command-line tool")

# Consumer built with find_package(AutoCount).
run_in(${WORK_DIR} ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build
       -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run_in(${WORK_DIR} ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run_in(${elsewhere} ${WORK_DIR}/cmake-build/consumer)
expect_output("captured 3x2" "find_package consumer")
run_in(${elsewhere} ${WORK_DIR}/cmake-build/measure)
expect_output("measured area 81" "find_package measure")

# Consumer built with pkg-config: the .pc file points into the moved tree.
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
run_in(${WORK_DIR} pkg-config --variable=libdir autocount)
string(STRIP "${step_output}" libdir)
file(REAL_PATH "${libdir}" libdir)
if(NOT libdir STREQUAL "${prefix}/${LIBDIR}")
    message(FATAL_ERROR "pkg-config libdir ${libdir} is not ${prefix}/${LIBDIR}")
endif()
run_in(${WORK_DIR} pkg-config --cflags --libs autocount)
expect_output("-lautocount" "pkg-config")
separate_arguments(flags UNIX_COMMAND "${step_output}")
foreach(program consumer measure)
    set(source ${CONSUMER_DIR}/main.cpp)
    if(program STREQUAL "measure")
        set(source ${CONSUMER_DIR}/measure.cpp)
    endif()
    run_in(${WORK_DIR} ${CXX_COMPILER} -std=c++17 -fPIC ${source} -o ${WORK_DIR}/pc-${program}
           -Wl,--as-needed ${flags} -Wl,-rpath,${libdir})
endforeach()
run_in(${elsewhere} ${WORK_DIR}/pc-consumer)
expect_output("captured 3x2" "pkg-config consumer")
run_in(${elsewhere} ${WORK_DIR}/pc-measure)
expect_output("measured area 81" "pkg-config measure")
