# What is installed, in three components: library, development (headers, import libraries, a CMake package with the target
# tnkrn::tnkrn, a pkg-config file) and tools.

include(CMakePackageConfigHelpers)

# Everything that is installed, without the tests.
add_custom_target(product DEPENDS tnkrn)
foreach(part tnk tfcmp tnkrn_msvc_library)
    if(TARGET ${part})
        add_dependencies(product ${part})
    endif()
endforeach()

# Libraries and modules; on Windows beside the programs.
install(TARGETS tnkrn
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
if(WIN32)
    set(module_place ${CMAKE_INSTALL_BINDIR})
else()
    # Where the library looks beside its own folder, which is no place for a library without a version.
    set(module_place ${CMAKE_INSTALL_LIBDIR}/tnkrn15u)
endif()
if(TARGET tfcmp)
    install(TARGETS tfcmp LIBRARY DESTINATION ${module_place} COMPONENT library)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)

install(FILES ${PROJECT_SOURCE_DIR}/include/tnkrn.h ${PROJECT_SOURCE_DIR}/include/tnkrn_codec.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
if(WIN32)
    install(FILES ${TNK_MSVC_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

set(package_place ${CMAKE_INSTALL_LIBDIR}/cmake/tnkrn)
configure_package_config_file(cmake/tnkrn-config.cmake.in ${PROJECT_BINARY_DIR}/tnkrn-config.cmake
    INSTALL_DESTINATION ${package_place}
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tnkrn-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tnkrn-config.cmake ${PROJECT_BINARY_DIR}/tnkrn-config-version.cmake
        DESTINATION ${package_place} COMPONENT development)

# Found from where the file lies, so that the whole may be moved.
set(pkg_config_place ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH to_prefix /${pkg_config_place} /)
get_target_property(link_name tnkrn OUTPUT_NAME)
configure_file(cmake/tnkrn.pc.in ${PROJECT_BINARY_DIR}/tnkrn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tnkrn.pc DESTINATION ${pkg_config_place} COMPONENT development)

if(TARGET tnk)
    install(TARGETS tnk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

include(cmake/package.cmake)
