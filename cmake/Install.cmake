include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tviojsontree)
set(installed_targets tviojsontree tviojsontree_interface)
if(NOT TVIOJSONTREE_HOST_PREFIX)
    list(APPEND installed_targets tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx)
endif()

# Installed libraries find each other beside themselves, wherever the prefix is moved to.
foreach(target IN LISTS installed_targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
    endif()
endforeach()
if(TVIOJSONTREE_HOST_PREFIX)
    # In the host's process its libraries are loaded already; a program without it finds them here.
    set_target_properties(tviojsontree PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
endif()

install(TARGETS ${installed_targets} EXPORT tviojsontreeTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ostra DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY src/platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tviojsontree
        FILES_MATCHING PATTERN "*.hpp")
install(EXPORT tviojsontreeTargets NAMESPACE tviojsontree:: DESTINATION ${package_dir})
configure_package_config_file(cmake/tviojsontreeConfig.cmake.in tviojsontreeConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(tviojsontreeConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tviojsontreeConfig.cmake
              ${PROJECT_BINARY_DIR}/tviojsontreeConfigVersion.cmake
        DESTINATION ${package_dir})
if(TVIOJSONTREE_HOST_PREFIX)
    install(FILES cmake/ExternalHost.cmake DESTINATION ${package_dir})
endif()
