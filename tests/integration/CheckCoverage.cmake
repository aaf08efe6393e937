# Checks the coverage table of the integration tests (cmake -P): every exported function has a
# row, every row names an exported function and a test that exists in the test sources, given
# as TEST(Suite, Name), TEST_F(Suite, Name) or TYPED_TEST(Suite, Name). Writes STAMP on success.
#   -DEXPORTS=abi/exports.txt -DTABLE=Coverage.md -DSOURCES_DIR=<dir of *.cpp> -DSTAMP=<file>
cmake_minimum_required(VERSION 3.25)
foreach(variable EXPORTS TABLE SOURCES_DIR STAMP)
    if(NOT DEFINED ${variable})
        message(FATAL_ERROR "CheckCoverage.cmake: ${variable} not given")
    endif()
endforeach()

file(STRINGS "${EXPORTS}" exported REGEX "[^ ]")

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

# The table's rows: | `Function` | Suite.Name |
set(problems "")
set(covered "")
file(STRINGS "${TABLE}" rows REGEX "^\\| *`")
foreach(row ${rows})
    if(NOT row MATCHES "^\\| *`([^`]+)` *\\| *([A-Za-z0-9_]+\\.[A-Za-z0-9_]+) *\\|$")
        string(APPEND problems "\n  a row of another shape: ${row}")
        continue()
    endif()
    set(function "${CMAKE_MATCH_1}")
    set(test "${CMAKE_MATCH_2}")
    list(APPEND covered "${function}")
    if(NOT function IN_LIST exported)
        string(APPEND problems "\n  ${function}: not an exported function")
    endif()
    if(NOT test IN_LIST tests)
        string(APPEND problems "\n  ${function}: no test ${test} in ${SOURCES_DIR}")
    endif()
endforeach()
foreach(function ${exported})
    if(NOT function IN_LIST covered)
        string(APPEND problems "\n  ${function}: no row in ${TABLE}")
    endif()
endforeach()

if(problems)
    message(FATAL_ERROR "The integration tests' coverage table is out of date:${problems}")
endif()
file(TOUCH "${STAMP}")
