# What CPack makes of an installation: Debian packages of the three components, or one zip for Windows. scripts/package runs
# it and completes the results; cmake/package_stage.cmake finishes the files before they are packed.

set(TNK_MAINTAINER "The Tarnkit kernel authors <tnkrn@example.org>" CACHE STRING "Maintainer that the packages name")

set(CPACK_PACKAGE_NAME tnkrn)
set(CPACK_PACKAGE_VENDOR "The Tarnkit kernel authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "raster imaging kernel")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/cpack)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_stage.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# For package_stage.cmake.
set(CPACK_TNK_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_TNK_BUILD ${PROJECT_BINARY_DIR})
set(CPACK_TNK_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_TNK_MAINTAINER ${TNK_MAINTAINER})
set(CPACK_TNK_OBJCOPY ${CMAKE_OBJCOPY})
set(CPACK_TNK_STRIP ${CMAKE_STRIP})

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_TNK_CODECS ${TNK_CODECS})
    set(CPACK_SYSTEM_NAME windows-x86)
    set(CPACK_MONOLITHIC_INSTALL ON)
else()
    set(library libtnkrn15u${PROJECT_VERSION_MAJOR})
    set(CPACK_GENERATOR DEB)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_COMPONENTS_ALL library development tools)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
    set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TNK_MAINTAINER})
    set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    # Only what was there when a program was linked is promised to it.
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
    set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)

    set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library})
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
    set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
"This package has the shared library: bitmaps of 1 to 64 bits per pixel in
memory, in tiles or in temporary files, and what is done with their rows:
conversion between formats, dithering, optimized palettes, geometry,
device-independent bitmaps, behind flat C functions.")

    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtnkrn-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION}-1)")
    set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"This package has the development files: headers, the link to the library, a
CMake package, a file for pkg-config and examples in C.")

    set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tnkrn-tools)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
    set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library} (= ${PROJECT_VERSION}-1)")
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
    set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"This package has the program tnk, which converts pictures between depths and
formats, reduces them to palettes or to one bit, turns, sizes, combines and
compares them.")
endif()
include(CPack)
