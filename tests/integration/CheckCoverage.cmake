# Checks the coverage table of the integration tests (cmake -P): every exported function is named,
# in backquotes, under a heading "## Suite.Name" of a test that calls it: the test's body, from
# TEST(Suite, Name) or TEST_F(Suite, Name) to the first line "}" after it, names the function in
# its code (comments and string literals left out), as a call or as the function handed to what
# calls it. A C++ worker, listed by its mangled name (_Z<length><name>...), is looked for by its
# name. Writes STAMP on success.
#   -DEXPORTS=abi/exports.txt;abi/extensions.txt -DTABLE=Coverage.md
#   -DSOURCES_DIR=<dir of *.cpp> -DSTAMP=<file>
cmake_minimum_required(VERSION 3.22...3.25)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/ExportedNames.cmake)
read_exported(exported)

# The test sources as code alone: raw strings, then strings and characters, then comments out.
set(code "")
file(GLOB sources "${SOURCES_DIR}/*.cpp")
foreach(source ${sources})
    file(READ "${source}" text)
    string(REGEX REPLACE "R\"\\(([^)]|\\)[^\"])*\\)\"" "\"\"" text "${text}")
    string(REGEX REPLACE "\"([^\"\\\\\n]|\\\\.)*\"" "\"\"" text "${text}")
    string(REGEX REPLACE "'([^'\\\\\n]|\\\\.)'" "''" text "${text}")
    string(REGEX REPLACE "//[^\n]*" "" text "${text}")
    string(APPEND code "${text}")
endforeach()

# The body of test Suite.Name, or "" when no source defines it.
function(body_of test result)
    string(REPLACE "." ", *" pattern "${test}")
    string(REGEX MATCH "\n(TEST|TEST_F)\\(${pattern}\\)[^\n]*\n" heading "${code}")
    set(body "")
    if(heading)
        string(FIND "${code}" "${heading}" start)
        string(SUBSTRING "${code}" ${start} -1 body)
        string(FIND "${body}" "\n}" end)
        string(SUBSTRING "${body}" 0 ${end} body)
    endif()
    set(${result} "${body}" PARENT_SCOPE)
endfunction()

set(problems "")
set(covered "")
set(body "")
file(STRINGS "${TABLE}" lines)
foreach(line ${lines})
    if(line MATCHES "^## *(.*)$")
        set(test "${CMAKE_MATCH_1}")
        body_of("${test}" body)
        if(NOT body)
            string(APPEND problems "\n  no test ${test} in ${SOURCES_DIR}")
        endif()
    elseif(body)
        string(REGEX MATCHALL "`[^`]+`" names "${line}")
        foreach(name ${names})
            string(REPLACE "`" "" function "${name}")
            list(APPEND covered "${function}")
            identifier_of("${function}" called)
            if(NOT function IN_LIST exported)
                string(APPEND problems "\n  ${function}: not an exported function")
            elseif(NOT body MATCHES "[^A-Za-z0-9_]${called}[^A-Za-z0-9_]")
                string(APPEND problems "\n  ${called}: not called by ${test}")
            endif()
        endforeach()
    endif()
endforeach()
foreach(function ${exported})
    if(NOT function IN_LIST covered)
        string(APPEND problems "\n  ${function}: under no test in ${TABLE}")
    endif()
endforeach()

if(problems)
    message(FATAL_ERROR "The integration tests' coverage table is out of date:${problems}")
endif()
file(TOUCH "${STAMP}")
