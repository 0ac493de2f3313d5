# The fuzz harness as a static library, and the list of target names read
# from the table (AUTOCOUNT_FUZZ_TARGETS). Included by fuzz/CMakeLists.txt and
# by tests/fuzzreplay/CMakeLists.txt; guarded so that both may include it.
if(TARGET autocount_fuzzharness)
    return()
endif()

set(AUTOCOUNT_FUZZ_DIR ${CMAKE_CURRENT_LIST_DIR}/..)
file(GLOB AUTOCOUNT_FUZZ_HARNESS_SOURCES CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_LIST_DIR}/*.cpp ${CMAKE_CURRENT_LIST_DIR}/*.h)
add_library(autocount_fuzzharness STATIC ${AUTOCOUNT_FUZZ_HARNESS_SOURCES})
target_include_directories(autocount_fuzzharness PUBLIC ${CMAKE_CURRENT_LIST_DIR})
# The HSI conversion's per-pixel oracle is shared with its test.
target_include_directories(autocount_fuzzharness PRIVATE ${CMAKE_CURRENT_LIST_DIR}/../../tests)
# The command-line tool's targets drive its library.
target_link_libraries(autocount_fuzzharness PUBLIC autocount autocount_clicore Qt5::Core)

file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/targettable.cpp table_lines
    REGEX "^ *FUZZ_TARGET\\([A-Za-z0-9_]+\\),")
set(AUTOCOUNT_FUZZ_TARGETS "")
foreach(line ${table_lines})
    string(REGEX REPLACE "^ *FUZZ_TARGET\\(([A-Za-z0-9_]+)\\),.*" "\\1" name "${line}")
    list(APPEND AUTOCOUNT_FUZZ_TARGETS ${name})
endforeach()
set(AUTOCOUNT_FUZZ_TARGETS ${AUTOCOUNT_FUZZ_TARGETS} CACHE INTERNAL "fuzz target names")
set(AUTOCOUNT_FUZZ_DIR ${AUTOCOUNT_FUZZ_DIR} CACHE INTERNAL "fuzz folder")
