# Links the libraries of an external host instead of the embedded one: a prefix whose lib folder
# holds libraries of these names. The declarations in src/platform/ must be theirs.
foreach(name tviojsoncore tviocommonfile tvi18n tvfl tvstring_core qx)
    find_library(TVIOJSONTREE_HOST_${name} ${name} REQUIRED NO_DEFAULT_PATH
                 PATHS ${TVIOJSONTREE_HOST_PREFIX} PATH_SUFFIXES lib lib64)
    add_library(${name} SHARED IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${TVIOJSONTREE_HOST_${name}})
endforeach()
