# What is installed, in three components: `runtime`, `development` and `program`. Nothing installed
# carries a path of the build; a prefix may be moved as a whole.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tviojsontree)
# The embedded host's libraries carry the names of a real host's, so they stay out of the folder
# where every program looks.
set(host_dir ${CMAKE_INSTALL_LIBDIR}/tviojsontree)

# Our libraries, and the folders of public headers below include/ostra/io/json.
set(libraries tviojsontree)
set(header_rooms tree)
set(host_libraries)
if(NOT TVIOJSONTREE_HOST_PREFIX)
    list(APPEND libraries tviojsoncolumns)
    list(APPEND header_rooms columns core)
    set(host_libraries tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx)
endif()

set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN;$ORIGIN/tviojsontree")
if(host_libraries)
    set_target_properties(${host_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS ${host_libraries} EXPORT tviojsontreeTargets
            LIBRARY DESTINATION ${host_dir} COMPONENT runtime)
else()
    # In the host's process its libraries are loaded already; a program without it finds them here.
    set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN"
                          INSTALL_RPATH_USE_LINK_PATH ON)
endif()
install(TARGETS ${libraries} tviojsontree_interface EXPORT tviojsontreeTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
        NAMELINK_COMPONENT development)

# The seam's headers go beside the public ones that include them, where an include in quotes finds
# them before anybody else's `platform/` folder. In the tree a link does the same.
foreach(room IN LISTS header_rooms)
    install(DIRECTORY include/ostra/io/json/${room} COMPONENT development
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostra/io/json
            FILES_MATCHING PATTERN "*.hpp" PATTERN platform EXCLUDE)
endforeach()
install(DIRECTORY src/platform COMPONENT development
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ostra/io/json/tree
        FILES_MATCHING PATTERN "*.hpp")

install(EXPORT tviojsontreeTargets NAMESPACE tviojsontree:: DESTINATION ${package_dir}
        COMPONENT development)
configure_package_config_file(cmake/tviojsontreeConfig.cmake.in tviojsontreeConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tviojsontreeConfigVersion.cmake COMPATIBILITY SameMajorVersion)
set(package_files ${CMAKE_CURRENT_BINARY_DIR}/tviojsontreeConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tviojsontreeConfigVersion.cmake cmake/Dependencies.cmake)
if(TVIOJSONTREE_HOST_PREFIX)
    list(APPEND package_files cmake/ExternalHost.cmake)
endif()
install(FILES ${package_files} DESTINATION ${package_dir} COMPONENT development)

# Found relative to the file itself, wherever the prefix is.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
set(pc_host_dir "\${prefix}/${host_dir}")
if(TVIOJSONTREE_HOST_PREFIX)
    get_filename_component(pc_host_dir ${TVIOJSONTREE_HOST_qx} DIRECTORY)
endif()
configure_file(cmake/tviojsontree.pc.in tviojsontree.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tviojsontree.pc COMPONENT development
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TVIOJSONTREE_EXAMPLES)
    file(RELATIVE_PATH libraries_from_bin /prefix/${CMAKE_INSTALL_BINDIR}
         /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(jsontree PROPERTIES INSTALL_RPATH
        "$ORIGIN/${libraries_from_bin};$ORIGIN/${libraries_from_bin}/tviojsontree")
    if(TVIOJSONTREE_HOST_PREFIX)
        set_target_properties(jsontree PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
    endif()
    install(TARGETS jsontree RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
    configure_file(docs/jsontree.1.in jsontree.1 @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/jsontree.1 COMPONENT program
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES examples/jsontree/completion.bash RENAME jsontree COMPONENT program
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endif()
install(FILES LICENSE cmake/copyright CHANGELOG.md COMPONENT documents
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
