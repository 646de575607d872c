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
    add_library(public_types SHARED abi/public_types.cpp)
    target_link_libraries(public_types PRIVATE tviojsontree_interface)
    target_compile_options(public_types PRIVATE -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
    command_test(binary_interface binary_interface.sh $<TARGET_FILE:public_types>
                 ${CMAKE_CURRENT_SOURCE_DIR}/abi/libtviojsontree.abi ${PROJECT_SOURCE_DIR})
else()
    message(STATUS "The binary interface is not compared: that takes GCC and abigail-tools")
endif()

if(CMAKE_BUILD_TYPE MATCHES "Rel")
    command_test(hardened hardened_test.sh ${PROJECT_BINARY_DIR} ${libraries})
endif()
