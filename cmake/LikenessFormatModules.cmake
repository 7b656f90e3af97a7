# The modules that stand on one library each: LIKENESS_FORMAT_MODULES lists those whose library is found, and
# LIKENESS_LIBRARIES_OF_<module> what each links to. What is not found is told: files of these formats are then refused
# with the name of the module.
find_package(PkgConfig QUIET)
set(LIKENESS_FORMAT_MODULES)

function(likeness_format_module module)
    set(libraries)
    foreach(package IN LISTS ARGN)
        if(PkgConfig_FOUND)
            pkg_check_modules(LIKENESS_${module}_${package} QUIET IMPORTED_TARGET ${package})
        endif()
        if(NOT TARGET PkgConfig::LIKENESS_${module}_${package})
            message(STATUS "likeness: no module ${module}: ${package} is not found")
            return()
        endif()
        list(APPEND libraries PkgConfig::LIKENESS_${module}_${package})
    endforeach()
    set(LIKENESS_LIBRARIES_OF_${module} ${libraries} PARENT_SCOPE)
    set(LIKENESS_FORMAT_MODULES ${LIKENESS_FORMAT_MODULES} ${module} PARENT_SCOPE)
endfunction()

likeness_format_module(heif libheif)
likeness_format_module(jxl libjxl)
likeness_format_module(openexr OpenEXR)
likeness_format_module(raw libraw_r)
likeness_format_module(tiff libtiff-4)
likeness_format_module(metadata exiv2)

# A module that links to a target, where that was found; NAME is what is told where it was not.
function(likeness_module_of_target module target name)
    if(NOT TARGET ${target})
        message(STATUS "likeness: no module ${module}: ${name} is not found")
        return()
    endif()
    set(LIKENESS_LIBRARIES_OF_${module} ${target} ${ARGN} PARENT_SCOPE)
    set(LIKENESS_FORMAT_MODULES ${LIKENESS_FORMAT_MODULES} ${module} PARENT_SCOPE)
endfunction()

find_package(GIF QUIET)
likeness_module_of_target(gif GIF::GIF giflib)
# Nonlinear least squares, for models of opinion scores.
find_package(Ceres QUIET)
likeness_module_of_target(ceres Ceres::ceres "Ceres Solver")
# Graphs for approximate searches of archives: headers alone.
find_path(LIKENESS_HNSWLIB_INCLUDE hnswlib/hnswlib.h)
mark_as_advanced(LIKENESS_HNSWLIB_INCLUDE)
if(LIKENESS_HNSWLIB_INCLUDE)
    add_library(likeness_hnswlib INTERFACE)
    target_include_directories(likeness_hnswlib SYSTEM INTERFACE ${LIKENESS_HNSWLIB_INCLUDE})
endif()
likeness_module_of_target(nearest likeness_hnswlib hnswlib Threads::Threads)
