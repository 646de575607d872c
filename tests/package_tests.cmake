# Tests of what people meet before any function: commands, headers, the installed package.

function(command_test name script)
    add_test(NAME ${name} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/commands/${script} ${ARGN})
    set_tests_properties(${name} PROPERTIES ENVIRONMENT ${sanitizer_options})
endfunction()

command_test(example example_test.sh $<TARGET_FILE:jsontree> ${PROJECT_SOURCE_DIR})
command_test(readme readme_test.sh $<TARGET_FILE:readme> ${PROJECT_SOURCE_DIR})
if(NOT TVIOJSONTREE_SANITIZER)
    # With sanitizers the libraries need their runtime in the program and export symbols of it.
    command_test(installed installed_test.sh ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
    set_tests_properties(installed PROPERTIES COST 100) # the longest, so it begins first
endif()

# Elsewhere a build stops with its reason before it looks for anything.
add_test(NAME other_platform
         COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${CMAKE_CURRENT_BINARY_DIR}/other_platform
                 -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=aarch64)
set_tests_properties(other_platform PROPERTIES PASS_REGULAR_EXPRESSION
                     "tviojsontree runs on 64-bit x86 and Linux only")

# Each header compiles alone, and may be included twice.
file(GLOB_RECURSE public_headers FOLLOW_SYMLINKS CONFIGURE_DEPENDS
     RELATIVE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/include/*.hpp)
set(header_sources)
foreach(header IN LISTS public_headers)
    string(MAKE_C_IDENTIFIER ${header} source)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/headers/${source}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "#include <@header@>\n#include <@header@>\n" @ONLY)
    list(APPEND header_sources ${source})
endforeach()
add_library(headers_alone OBJECT ${header_sources})
target_link_libraries(headers_alone PRIVATE tviojsontree_interface)
tviojsontree_flags(headers_alone)
# As a consumer sees them: without our own rooms.
set_property(TARGET headers_alone PROPERTY INCLUDE_DIRECTORIES)

# A translation unit with another RapidJSON configuration is refused in words a consumer understands.
# The first cases are the control: our header compiles and says nothing.
function(configuration_test name pattern)
    set(header ${PROJECT_SOURCE_DIR}/include/ostra/io/json/tree/rapidjson.hpp)
    add_test(NAME configuration.${name}
             COMMAND ${CMAKE_CXX_COMPILER} -std=c++20 -fsyntax-only -I${PROJECT_SOURCE_DIR}/include
                     ${ARGN} -include ${header} -x c++ /dev/null)
    if(pattern)
        set_tests_properties(configuration.${name} PROPERTIES PASS_REGULAR_EXPRESSION "error: .*${pattern}")
    endif()
endfunction()

configuration_test(ours "")
configuration_test(command_line "" -DRAPIDJSON_NO_SIZETYPEDEFINE)
configuration_test(wide_sizes "" -DRAPIDJSON_NO_SIZETYPEDEFINE
                   -include ${CMAKE_CURRENT_SOURCE_DIR}/wide_size_type.hpp -include rapidjson/document.h)
configuration_test(included_first "include <ostra/io/json/tree/rapidjson.hpp> before any RapidJSON header"
                   -include rapidjson/document.h)
configuration_test(narrow_sizes "tviojsontree needs RapidJSON with a 64-bit SizeType"
                   -include ${CMAKE_CURRENT_SOURCE_DIR}/narrow_size_type.hpp)
configuration_test(wide_pointers "RAPIDJSON_48BITPOINTER_OPTIMIZATION 1" -DRAPIDJSON_48BITPOINTER_OPTIMIZATION=0)
configuration_test(simd "write control characters unescaped" -DRAPIDJSON_SSE42)
