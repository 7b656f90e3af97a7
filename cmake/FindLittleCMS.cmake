# Finds Little CMS 2, which converts colours by their profiles. Defines LittleCMS::LittleCMS.
find_path(LittleCMS_INCLUDE_DIR lcms2.h)
find_library(LittleCMS_LIBRARY lcms2)
mark_as_advanced(LittleCMS_INCLUDE_DIR LittleCMS_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LittleCMS REQUIRED_VARS LittleCMS_LIBRARY LittleCMS_INCLUDE_DIR)

if(LittleCMS_FOUND AND NOT TARGET LittleCMS::LittleCMS)
    add_library(LittleCMS::LittleCMS UNKNOWN IMPORTED)
    set_target_properties(LittleCMS::LittleCMS PROPERTIES IMPORTED_LOCATION "${LittleCMS_LIBRARY}"
                                                          INTERFACE_INCLUDE_DIRECTORIES "${LittleCMS_INCLUDE_DIR}")
endif()
