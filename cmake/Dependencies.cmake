# What the public headers include, as targets. Read by the build after it has found the packages, and
# by the installed package after its consumer has.

# RapidJSON's packages name their headers in a variable of either spelling, or by a target.
if(NOT TARGET tviojsontree::rapidjson)
    add_library(tviojsontree::rapidjson INTERFACE IMPORTED GLOBAL)
    if(RapidJSON_INCLUDE_DIRS OR RAPIDJSON_INCLUDE_DIRS)
        target_include_directories(tviojsontree::rapidjson SYSTEM INTERFACE
                                   ${RapidJSON_INCLUDE_DIRS} ${RAPIDJSON_INCLUDE_DIRS})
    elseif(TARGET RapidJSON)
        target_link_libraries(tviojsontree::rapidjson INTERFACE RapidJSON)
    elseif(TARGET rapidjson)
        target_link_libraries(tviojsontree::rapidjson INTERFACE rapidjson)
    else()
        message(FATAL_ERROR "The RapidJSON in ${RapidJSON_DIR} does not say where its headers are")
    endif()
endif()
