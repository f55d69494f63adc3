# layer(FOLDER [USES folder…] [LIBRARIES target…] [PROGRAM name])
#
# Makes one static library of all sources in FOLDER (relative to the root), or one program when PROGRAM is given,
# and notes which other layers its sources may include. USES is closed transitively. finish_layers() writes the
# table and stops the configuration when a source includes a folder that its layer may not use.
set(LAYER_TABLE ${CMAKE_BINARY_DIR}/layers.txt)
file(WRITE ${LAYER_TABLE} "")

# Several sources of a target are compiled as one, which parses the headers once: a clean build takes a third of the
# time. Names in anonymous namespaces are therefore unique within a folder's library.
option(QUORVEL_UNITY "Compile several sources as one" ON)
function(compile_together TARGET)
    set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ${QUORVEL_UNITY} UNITY_BUILD_BATCH_SIZE 12)
endfunction()

function(layer FOLDER)
    cmake_parse_arguments(ARG "" "PROGRAM" "USES;LIBRARIES" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${FOLDER}/*.cpp ${CMAKE_SOURCE_DIR}/${FOLDER}/*.h)
    string(REPLACE "/" "_" target ${FOLDER})
    if(ARG_PROGRAM)
        set(target ${ARG_PROGRAM})
        add_executable(${target} ${sources})
    else()
        add_library(${target} STATIC ${sources})
    endif()
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
    compile_together(${target})
    target_include_directories(${target} PUBLIC ${CMAKE_SOURCE_DIR})
    set(allowed ${FOLDER})
    foreach(used IN LISTS ARG_USES)
        string(REPLACE "/" "_" usedTarget ${used})
        target_link_libraries(${target} PUBLIC ${usedTarget})
        get_property(deeper GLOBAL PROPERTY LAYER_${used})
        if(NOT deeper)
            message(FATAL_ERROR "layer ${FOLDER} uses ${used}, which is no layer declared before it")
        endif()
        list(APPEND allowed ${deeper})
    endforeach()
    list(REMOVE_DUPLICATES allowed)
    set_property(GLOBAL PROPERTY LAYER_${FOLDER} "${allowed}")
    target_link_libraries(${target} PUBLIC ${ARG_LIBRARIES} Threads::Threads)
    list(JOIN allowed "," line)
    file(APPEND ${LAYER_TABLE} "${FOLDER}=${line}\n")
endfunction()

function(finish_layers)
    set(LAYER_ROOT ${CMAKE_SOURCE_DIR})
    include(${CMAKE_SOURCE_DIR}/cmake/CheckLayers.cmake)
endfunction()
