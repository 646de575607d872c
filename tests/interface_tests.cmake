# Tests of what the libraries look like from outside: promises, binary interface and hardening.

command_test(security security_test.sh ${PROJECT_SOURCE_DIR})
command_test(arrows arrows_test.sh ${PROJECT_SOURCE_DIR})

if(TVIOJSONTREE_SANITIZER)
    return()
endif()

set(libraries $<TARGET_FILE:tviojsontree>)
if(NOT TVIOJSONTREE_HOST_PREFIX)
    foreach(library tviojsoncolumns tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx)
        list(APPEND libraries $<TARGET_FILE:${library}>)
    endforeach()
endif()
command_test(exported_symbols exported_symbols.sh ${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols
             ${libraries})

# Compilers describe the same types differently: the baseline is GCC's.
find_program(ABIDW abidw)
find_program(ABIDIFF abidiff)
if(ABIDW AND ABIDIFF AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    function(binary_interface_test name types baseline)
        add_library(${types} SHARED abi/${types}.cpp)
        target_link_libraries(${types} PRIVATE tviojsontree_interface)
        target_compile_options(${types} PRIVATE -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
        command_test(${name} binary_interface.sh $<TARGET_FILE:${types}>
                     ${CMAKE_CURRENT_SOURCE_DIR}/abi/${baseline} ${PROJECT_SOURCE_DIR})
    endfunction()
    binary_interface_test(binary_interface public_types libtviojsontree.abi)
    if(TARGET tviojsoncolumns)
        binary_interface_test(binary_interface_of_columns public_column_types
                              libtviojsoncolumns.abi)
    endif()
else()
    message(STATUS "The binary interface is not compared: that takes GCC and abigail-tools")
endif()

if(CMAKE_BUILD_TYPE MATCHES "Rel")
    command_test(hardened hardened_test.sh ${PROJECT_BINARY_DIR} ${libraries})
endif()
