# Script mode: cpack -G DEB, apt-get install of the package, a count of the
# installed sample, apt-get remove, and a check that every packaged file is
# gone. The package is removed again even when a check after the install
# fails.

function(skip reason)
    message("DebianPackage skipped: ${reason}")
    # Script mode has no exit code of its own; the test's skip expression
    # matches the line above.
    return()
endfunction()

execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
find_program(APT_GET apt-get)
find_program(DPKG dpkg)
if(NOT uid STREQUAL "0")
    skip("installing a package needs root")
    return()
endif()
if(NOT APT_GET OR NOT DPKG)
    skip("no apt-get or dpkg")
    return()
endif()
execute_process(COMMAND dpkg-query -W -f=\${Status} autocount
                OUTPUT_VARIABLE status ERROR_QUIET)
if(status MATCHES "installed")
    skip("a package autocount is installed already; it is left alone")
    return()
endif()

function(run)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
                    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "step failed: ${ARGN}\n${out}\n${err}")
    endif()
    set(step_output "${out}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
run(${CPACK} -G DEB -B ${WORK_DIR} --config ${BUILD_DIR}/CPackConfig.cmake)
run(dpkg --print-architecture)
string(STRIP "${step_output}" arch)
set(deb ${WORK_DIR}/autocount_${VERSION}_${arch}.deb)
if(NOT EXISTS ${deb})
    message(FATAL_ERROR "cpack made no ${deb}")
endif()

# Debian's own checks, where lintian is installed: no errors or warnings
# beyond the ones the package overrides with its reasons.
find_program(LINTIAN lintian)
if(LINTIAN)
    execute_process(COMMAND ${LINTIAN} --fail-on error,warning ${deb}
                    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0 OR out MATCHES "(^|\n)[EW]: ")
        message(FATAL_ERROR "lintian finds faults in the package:\n${out}${err}")
    endif()
endif()

# The package holds the libraries, both programs with the studio's desktop
# entry and icon, the headers, the CMake and pkg-config files and the sample.
run(dpkg-deb -c ${deb})
set(listing "${step_output}")
foreach(path usr/bin/autocount usr/bin/autocount-studio
             usr/${LIBDIR}/libautocount.so.1 usr/${LIBDIR}/libautocount_host.so.1
             usr/share/applications/autocount-studio.desktop
             usr/share/icons/hicolor/scalable/apps/autocount-studio.svg
             usr/include/autocount/autocountmanager.h usr/include/host/displaycanvas.h
             usr/${LIBDIR}/cmake/AutoCount/AutoCountConfig.cmake
             usr/${LIBDIR}/pkgconfig/autocount.pc
             usr/share/autocount/samples/cells.png
             usr/share/man/man1/autocount.1.gz usr/share/man/man1/autocount-studio.1.gz
             usr/share/doc/autocount/copyright usr/share/doc/autocount/changelog.gz)
    string(FIND "${listing}" " ./${path}" at)
    if(at EQUAL -1)
        message(FATAL_ERROR "the package lacks /${path}:\n${listing}")
    endif()
endforeach()
# Every packaged file and link, to check that removal takes them all.
string(REGEX MATCHALL " \\./[^\n]*[^/\n]\n" entries "${listing}")
set(packaged)
foreach(entry ${entries})
    string(REGEX REPLACE "^ \\.(/[^ \n]*).*" "\\1" path "${entry}")
    list(APPEND packaged ${path})
endforeach()

run(${APT_GET} install -y --no-install-recommends -o DPkg::Lock::Timeout=120 ${deb})

set(problems)
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH
                        /usr/bin/autocount count /usr/share/autocount/samples/cells.png
                WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT result EQUAL 0 OR NOT out MATCHES "40 objects")
    list(APPEND problems "installed tool: exit ${result}\n${out}\n${err}")
endif()
find_program(DESKTOP_FILE_VALIDATE desktop-file-validate)
if(DESKTOP_FILE_VALIDATE)
    execute_process(COMMAND ${DESKTOP_FILE_VALIDATE}
                            /usr/share/applications/autocount-studio.desktop
                    RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0 OR out OR err)
        list(APPEND problems "desktop entry:\n${out}${err}")
    endif()
endif()

run(${APT_GET} remove -y -o DPkg::Lock::Timeout=120 autocount)
execute_process(COMMAND dpkg-query -W -f=\${Status} autocount
                OUTPUT_VARIABLE status ERROR_QUIET)
if(status MATCHES " installed")
    list(APPEND problems "still installed after removal: ${status}")
endif()
foreach(path ${packaged})
    if(EXISTS ${path} OR IS_SYMLINK ${path})
        list(APPEND problems "left behind after removal: ${path}")
    endif()
endforeach()
# Nothing of the package stays in dpkg's database either.
run(${DPKG} --purge autocount)
list(LENGTH packaged count)
message("${count} packaged files installed and removed")
if(problems)
    string(REPLACE ";" "\n" problems "${problems}")
    message(FATAL_ERROR "${problems}")
endif()
