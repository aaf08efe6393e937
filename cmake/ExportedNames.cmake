# The exported names, as the checks that derive from abi/exports.txt and abi/extensions.txt read
# them (cmake -P scripts given -DEXPORTS=<the lists>).

# Every name of the lists in EXPORTS, in order.
function(read_exported result)
    set(names "")
    foreach(list ${EXPORTS})
        file(STRINGS "${list}" listed REGEX "[^ ]")
        list(APPEND names ${listed})
    endforeach()
    set(${result} "${names}" PARENT_SCOPE)
endfunction()

# A C++ symbol _Z<length><identifier>...: its identifier; any other name: itself.
function(identifier_of symbol result)
    if(symbol MATCHES "^_Z([0-9]+)")
        string(LENGTH "${CMAKE_MATCH_0}" skip)
        string(SUBSTRING "${symbol}" ${skip} ${CMAKE_MATCH_1} symbol)
    endif()
    set(${result} "${symbol}" PARENT_SCOPE)
endfunction()
