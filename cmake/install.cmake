# The package: header, library, import libraries, program, and a CMake config with the target tnkrn::tnkrn.

include(CMakePackageConfigHelpers)

# Everything that is installed, without the tests.
add_custom_target(product DEPENDS tnkrn)
foreach(part tnk tfcmp tnkrn_msvc_library)
    if(TARGET ${part})
        add_dependencies(product ${part})
    endif()
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/include/tnkrn.h ${PROJECT_SOURCE_DIR}/include/tnkrn_codec.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS tnkrn
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET tfcmp)
    # Beside the library, where it is looked for first.
    if(WIN32)
        install(TARGETS tfcmp LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR})
    else()
        install(TARGETS tfcmp LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    endif()
endif()
if(WIN32)
    install(FILES ${TNK_MSVC_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
if(TARGET tnk)
    install(TARGETS tnk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(package_place ${CMAKE_INSTALL_LIBDIR}/cmake/tnkrn)
configure_package_config_file(cmake/tnkrn-config.cmake.in ${PROJECT_BINARY_DIR}/tnkrn-config.cmake
    INSTALL_DESTINATION ${package_place}
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tnkrn-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tnkrn-config.cmake ${PROJECT_BINARY_DIR}/tnkrn-config-version.cmake
        DESTINATION ${package_place})
