# Checks the coverage table of the integration tests (cmake -P): every exported function is named,
# in backquotes, under a heading "## Suite.Name" of a test that exists in the test sources, given
# as TEST(Suite, Name), TEST_F(Suite, Name) or TYPED_TEST(Suite, Name), and every name under a
# heading is an exported function. Writes STAMP on success.
#   -DEXPORTS=abi/exports.txt;abi/extensions.txt -DTABLE=Coverage.md
#   -DSOURCES_DIR=<dir of *.cpp> -DSTAMP=<file>
cmake_minimum_required(VERSION 3.22...3.25)
set(exported "")
foreach(list ${EXPORTS})
    file(STRINGS "${list}" names REGEX "[^ ]")
    list(APPEND exported ${names})
endforeach()

# The tests the sources define, as Suite.Name.
set(tests "")
file(GLOB sources "${SOURCES_DIR}/*.cpp")
foreach(source ${sources})
    file(STRINGS "${source}" definitions REGEX "^(TEST|TEST_F|TYPED_TEST)\\(")
    foreach(definition ${definitions})
        if(definition MATCHES "^[A-Z_]+\\(([A-Za-z0-9_]+), *([A-Za-z0-9_]+)\\)")
            list(APPEND tests "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}")
        endif()
    endforeach()
endforeach()

# The table: a heading names a test, the backquoted names after it the functions it covers.
set(problems "")
set(covered "")
set(test "")
file(STRINGS "${TABLE}" lines)
foreach(line ${lines})
    if(line MATCHES "^## *(.*)$")
        set(test "${CMAKE_MATCH_1}")
        if(NOT test IN_LIST tests)
            string(APPEND problems "\n  no test ${test} in ${SOURCES_DIR}")
        endif()
    elseif(test)
        string(REGEX MATCHALL "`[^`]+`" names "${line}")
        foreach(name ${names})
            string(REPLACE "`" "" function "${name}")
            list(APPEND covered "${function}")
            if(NOT function IN_LIST exported)
                string(APPEND problems "\n  ${function}: not an exported function")
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
