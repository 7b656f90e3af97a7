# Debian packages from the install rules: `likeness`, the programs, `likeness-modules`, what programs and library load when
# they need it, and `liblikeness-dev`, what others build with. Made by
# `cpack --config build/release/CPackConfig.cmake`; scripts/package does it all.
if(BUILD_SHARED_LIBS)
    # The programs would need a package of the library that they find without a run path.
    message(STATUS "likeness: no Debian packages with BUILD_SHARED_LIBS=ON; they are made of the static library, OFF")
    file(REMOVE "${PROJECT_BINARY_DIR}/CPackConfig.cmake" "${PROJECT_BINARY_DIR}/CPackSourceConfig.cmake")
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME likeness)
set(CPACK_PACKAGE_VENDOR likeness)
# CPack's own default, the one that it does not put before what each package says of itself.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_CONTACT "likeness developers <likeness@example.org>")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL program modules development)

set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME likeness)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "comparison of photographs by how they look, programs
The program likeness adapts two photographs to the D65 white, runs each through
a colour appearance model of the CIECAM02 family, and prints how much the
distributions of five appearance correlates overlap. The program darkroom
reaches colour space conversions, chromatic adaptation, exposure fusion, guided
filtering, colour transfer and comparisons of many pairs.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "likeness-modules (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_MODULES_PACKAGE_NAME likeness-modules)
set(CPACK_COMPONENT_MODULES_DESCRIPTION
    "comparison of photographs by how they look, modules
What the programs and the library load when they first need it: readers and
writers of other formats than JPEG and PNG, and optical flow.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblikeness-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libopencv-dev, libjpeg-dev, libpng-dev, libsleef-dev, libstdc++-12-dev, likeness-modules (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "colour appearance of photographs, development files
Headers, static library, CMake package and pkg-config module of likeness:
comparison of photographs by how they look, colour spaces, chromatic
adaptation, exposure fusion, guided filtering and colour transfer on cv::Mat.")

# Debian wants a copyright file and a compressed changelog in each package, and compressed manuals.
foreach(package IN ITEMS program:likeness modules:likeness-modules development:liblikeness-dev)
    string(REPLACE ":" ";" words "${package}")
    list(GET words 0 component)
    list(GET words 1 name)
    install(
        FILES "${PROJECT_SOURCE_DIR}/cmake/debian/copyright"
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name}
        COMPONENT ${component})
endforeach()
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/debian/compress.cmake")
include(CPack)
