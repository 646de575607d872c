# `cpack -G DEB`: the library with the embedded host, what one builds against it, and the program.
# Configure for the prefix /usr, as the preset `package` does, so that libraries go where the system
# has them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tviojsontree)
set(CPACK_PACKAGE_CONTACT "the tviojsontree authors")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# What a package's programs and libraries need, from dpkg-shlibdeps; the needs between our own
# packages are on the very same version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtviojsontree${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "The shared library, and an embedded host for programs without one.")
# What another package needs that links the library. CPack's own way complains about the host's
# libraries, which nobody is to link without ours.
file(CONFIGURE OUTPUT shlibs CONTENT
     "libtviojsontree @PROJECT_VERSION_MAJOR@ libtviojsontree@PROJECT_VERSION_MAJOR@ (>= @PROJECT_VERSION@)\n" @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/shlibs)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtviojsontree-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "rapidjson-dev, libboost1.81-dev | libboost-dev (>= 1.81)")
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Headers, CMake package and pkg-config file: what it takes to build a binding.")

if(TVIOJSONTREE_EXAMPLES)
    list(APPEND CPACK_COMPONENTS_ALL program)
    set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME jsontree)
    set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION utils)
    set(CPACK_COMPONENT_PROGRAM_DEPENDS runtime)
    set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
        "The program jsontree shows the structure of a JSON document, copies it, and reads and edits
columns of its records.")
endif()

# Each package brings the licences of all that is compiled into it.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    install(FILES cmake/copyright COMPONENT ${component} EXCLUDE_FROM_ALL
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()
include(CPack)
