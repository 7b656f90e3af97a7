# Install rules: the programs, the library with its headers, the CMake package, the pkg-config file, the man pages and the
# shell completions.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/likeness")

if(TARGET likeness_cli)
    install(TARGETS likeness_cli COMPONENT program)
endif()
install(
    TARGETS likeness
    EXPORT likenessTargets
    LIBRARY COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    FILE_SET HEADERS
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development)
set(module_targets ${LIKENESS_OPENCV_LATE_MODULES} ${LIKENESS_FORMAT_MODULES})
list(TRANSFORM module_targets PREPEND likeness_)
if(TARGET likeness_archive_module)
    list(APPEND module_targets likeness_archive_module)
endif()
install(TARGETS ${module_targets} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/likeness COMPONENT modules)
install(
    EXPORT likenessTargets
    NAMESPACE likeness::
    DESTINATION ${package_dir}
    COMPONENT development)

list(JOIN LIKENESS_OPENCV_MODULES " " LIKENESS_OPENCV_WORDS)
set(LIKENESS_INSTALLED_MODULES "${CMAKE_INSTALL_LIBDIR}/likeness")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/likenessConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/likenessConfig.cmake" INSTALL_DESTINATION ${package_dir}
                              PATH_VARS LIKENESS_INSTALLED_MODULES)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/likenessConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(
    FILES "${PROJECT_BINARY_DIR}/likenessConfig.cmake" "${PROJECT_BINARY_DIR}/likenessConfigVersion.cmake"
          "${CMAKE_CURRENT_LIST_DIR}/FindSLEEF.cmake"
    DESTINATION ${package_dir}
    COMPONENT development)

# A static library needs what it was built with on the link line of its users. The image library's own pkg-config file
# would link all of its modules, so the few that are needed are named here.
set(pkgconfig_libs "-llikeness")
list(TRANSFORM LIKENESS_OPENCV_PRIVATE PREPEND "-l" OUTPUT_VARIABLE pkgconfig_private)
list(JOIN pkgconfig_private " " pkgconfig_private)
string(APPEND pkgconfig_private " -ljpeg -lpng")
if(TARGET SLEEF::SLEEF)
    string(APPEND pkgconfig_private " -lsleef")
endif()
string(APPEND pkgconfig_private " ${OpenMP_CXX_FLAGS} -pthread")
foreach(library IN LISTS CMAKE_DL_LIBS)
    string(APPEND pkgconfig_private " -l${library}")
endforeach()
get_target_property(likeness_type likeness TYPE)
set(pkgconfig_definitions "")
if(likeness_type STREQUAL "STATIC_LIBRARY")
    set(pkgconfig_definitions "-DLIKENESS_STATIC ")
    # Where the modules are that it loads when something needs them.
    string(APPEND pkgconfig_libs " ${pkgconfig_private} -Wl,-rpath,\${libdir}/likeness")
    set(pkgconfig_private "")
endif()
string(APPEND pkgconfig_libs " -lopencv_core")
list(TRANSFORM OpenCV_INCLUDE_DIRS PREPEND "-I" OUTPUT_VARIABLE pkgconfig_includes)
list(JOIN pkgconfig_includes " " pkgconfig_includes)
# Relative folders are found from where the file itself is, so that the whole can be moved; absolute ones are where they
# are.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(pkgconfig_prefix "${CMAKE_INSTALL_PREFIX}")
else()
    file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
    set(pkgconfig_prefix "\${pcfiledir}/${pkgconfig_to_prefix}")
endif()
foreach(kind libdir includedir)
    string(TOUPPER "CMAKE_INSTALL_${kind}" folder)
    if(IS_ABSOLUTE "${${folder}}")
        set(pkgconfig_${kind} "${${folder}}")
    else()
        set(pkgconfig_${kind} "\${prefix}/${${folder}}")
    endif()
endforeach()
configure_file("${CMAKE_CURRENT_LIST_DIR}/likeness.pc.in" "${PROJECT_BINARY_DIR}/likeness.pc" @ONLY)
install(
    FILES "${PROJECT_BINARY_DIR}/likeness.pc"
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

install(
    FILES "${PROJECT_SOURCE_DIR}/man/likeness.1"
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT program)

if(TARGET darkroom)
    install(TARGETS darkroom COMPONENT program)
    set(darkroom_documents "${PROJECT_BINARY_DIR}/src/programs/darkroom")
    install(
        FILES "${darkroom_documents}/darkroom.1"
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT program)
    install(
        FILES "${darkroom_documents}/completions/darkroom"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT program)
    install(
        FILES "${darkroom_documents}/completions/_darkroom"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
        COMPONENT program)
endif()
