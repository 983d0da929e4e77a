# Layers point down only: the core includes nothing else of src/, the transformations and
# the file layer only the core, the masks the core and the transformations, the workflow layer
# the core, the transformations and the file layer. Fails with the offending lines.
file(GLOB_RECURSE sources ${SRC}/core/*.cpp ${SRC}/core/*.h ${SRC}/transform/*.cpp
    ${SRC}/transform/*.h ${SRC}/file/*.cpp ${SRC}/file/*.h ${SRC}/mask/*.cpp ${SRC}/mask/*.h
    ${SRC}/workflow/*.cpp ${SRC}/workflow/*.h)
set(bad "")
foreach(f IN LISTS sources)
    file(RELATIVE_PATH rel ${SRC} ${f})
    string(REGEX MATCH "^[a-z]+" layer ${rel})
    if(layer STREQUAL "core")
        set(allowed "core")
    elseif(layer STREQUAL "mask")
        set(allowed "core|transform|mask")
    elseif(layer STREQUAL "workflow")
        set(allowed "core|transform|file|workflow")
    else()
        set(allowed "core|${layer}")
    endif()
    file(STRINGS ${f} lines REGEX "^#include \"")
    foreach(line IN LISTS lines)
        if(NOT line MATCHES "^#include \"(${allowed})/")
            string(APPEND bad "${rel}: ${line}\n")
        endif()
    endforeach()
endforeach()
if(bad)
    message(FATAL_ERROR "Includes that point up or sideways:\n${bad}")
endif()
