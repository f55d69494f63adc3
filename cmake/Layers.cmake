# layer(FOLDER [USES folder…] [FORBIDS path…] [LIBRARIES target…] [PROGRAM name])
#
# Makes one static library of all sources in FOLDER (relative to the root), or one program when PROGRAM is given,
# and notes which other layers its sources may include. USES is closed transitively; FORBIDS takes folders and
# headers out of it. finish_layers() writes the
# table and stops the configuration when a source includes a folder that its layer may not use.
set(LAYER_TABLE ${CMAKE_BINARY_DIR}/layers.txt)
file(WRITE ${LAYER_TABLE} "")

# Compiles the sources of a target in groups, which parses the headers once for each: a clean build takes a third of
# the time. Names in anonymous namespaces are therefore unique within a target. Paths in the groups are relative, so
# that a compiler cache serves every checkout.
option(QUORVEL_UNITY "Compile several sources as one" ON)
function(compile_together TARGET)
    if(NOT QUORVEL_UNITY)
        return()
    endif()
    get_target_property(sources ${TARGET} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    set(number 0)
    while(sources)
        list(SUBLIST sources 0 12 group)
        set(text "")
        foreach(source IN LISTS group)
            list(POP_FRONT sources)
            file(RELATIVE_PATH path ${CMAKE_SOURCE_DIR} ${source})
            string(APPEND text "#include \"${path}\"\n")
            set_source_files_properties(${source} PROPERTIES HEADER_FILE_ONLY ON)
        endforeach()
        set(file ${CMAKE_BINARY_DIR}/together/${TARGET}/${number}.cpp)
        file(CONFIGURE OUTPUT ${file} CONTENT "${text}" @ONLY)
        target_sources(${TARGET} PRIVATE ${file})
        math(EXPR number "${number} + 1")
    endwhile()
endfunction()

# Each source by itself reads the headers of the standard library from one file that was compiled before; a test holds
# the sources to the headers that they use. All targets need the same flags for it.
option(QUORVEL_PRECOMPILE "Compile the headers of the standard library once" OFF)
if(QUORVEL_PRECOMPILE)
    set(headers algorithm array atomic charconv chrono compare concepts condition_variable cstdint cstdlib cstring
                exception filesystem functional future limits map memory mutex numeric optional set span sstream
                stdexcept stop_token string string_view system_error thread tuple type_traits utility variant vector)
    list(TRANSFORM headers REPLACE "(.+)" "<\\1>")
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/precompiled.cpp CONTENT "")
    add_library(precompiled STATIC ${CMAKE_BINARY_DIR}/precompiled.cpp)
    target_precompile_headers(precompiled PRIVATE ${headers})
endif()

function(layer FOLDER)
    cmake_parse_arguments(ARG "" "PROGRAM" "USES;FORBIDS;LIBRARIES" ${ARGN})
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
    if(QUORVEL_PRECOMPILE)
        target_precompile_headers(${target} REUSE_FROM precompiled)
    endif()
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
    set_property(GLOBAL APPEND PROPERTY LAYER_TARGETS ${target})
    list(TRANSFORM ARG_FORBIDS PREPEND "!")
    list(APPEND allowed ${ARG_FORBIDS})
    list(JOIN allowed "," line)
    file(APPEND ${LAYER_TABLE} "${FOLDER}=${line}\n")
endfunction()

function(finish_layers)
    # Compiles every layer and links nothing, so that it works with a standard library that the libraries of the
    # distribution were not built with.
    get_property(targets GLOBAL PROPERTY LAYER_TARGETS)
    list(TRANSFORM targets REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
    add_custom_target(objects DEPENDS ${objects})

    set(LAYER_ROOT ${CMAKE_SOURCE_DIR})
    include(${CMAKE_SOURCE_DIR}/cmake/CheckLayers.cmake)
endfunction()
