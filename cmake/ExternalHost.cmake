# Links the libraries of an external host instead of the embedded one: a prefix whose lib folder
# holds libraries of these names. The declarations in src/platform/ must be theirs.
foreach(name tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx)
    find_library(TVIOJSONTREE_HOST_${name} ${name} REQUIRED NO_DEFAULT_PATH
                 PATHS ${TVIOJSONTREE_HOST_PREFIX} PATH_SUFFIXES lib lib64)
    if(NOT TARGET ${name})
        add_library(${name} SHARED IMPORTED GLOBAL)
        # Linked by name: a library without a SONAME of its own would otherwise be needed by its path.
        set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${TVIOJSONTREE_HOST_${name}}
                              IMPORTED_NO_SONAME ON)
    endif()
endforeach()
