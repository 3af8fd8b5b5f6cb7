# The library: one set of objects, from which come a static archive for tests of the inside and the shared library.

file(GLOB_RECURSE library_sources CONFIGURE_DEPENDS src/*.cpp src/*.c)
if(WIN32)
    list(FILTER library_sources EXCLUDE REGEX "/src/platform/posix/")
else()
    list(FILTER library_sources EXCLUDE REGEX "/src/platform/win32/")
endif()
if(NOT library_sources)
    message(STATUS "No library sources yet: nothing to build")
    return()
endif()

# Instruction-set variants are chosen at run time, so only their own files may contain such instructions.
foreach(source IN LISTS library_sources)
    if(source MATCHES "_(ssse3|sse4_1|sse4_2|avx|avx2|bmi2|f16c)\\.cpp$")
        string(REPLACE "_" "." flag "${CMAKE_MATCH_1}")
        set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -m${flag})
    endif()
endforeach()

find_package(Threads REQUIRED)

add_library(tnkrn_objects OBJECT ${library_sources})
target_include_directories(tnkrn_objects PRIVATE include src)
target_compile_definitions(tnkrn_objects PRIVATE TNK_BUILDING TNK_ALL_SHORT_CODES)
tnk_library_flags(tnkrn_objects)

# Everything of the library that its users need to link, whichever form they take.
add_library(tnkrn_interface INTERFACE)
target_include_directories(tnkrn_interface INTERFACE ${PROJECT_SOURCE_DIR}/include)
set(system_libraries Threads::Threads)
if(WIN32)
    list(APPEND system_libraries gdi32 user32)
else()
    list(APPEND system_libraries ${CMAKE_DL_LIBS})
endif()

add_library(tnkrn_static STATIC $<TARGET_OBJECTS:tnkrn_objects>)
target_link_libraries(tnkrn_static PUBLIC tnkrn_interface ${system_libraries})
target_compile_definitions(tnkrn_static INTERFACE TNK_STATIC TNK_ALL_SHORT_CODES)

add_library(tnkrn SHARED $<TARGET_OBJECTS:tnkrn_objects>)
target_link_libraries(tnkrn PUBLIC tnkrn_interface PRIVATE ${system_libraries})
set_target_properties(tnkrn PROPERTIES OUTPUT_NAME Tnkrn15u LINKER_LANGUAGE CXX)

if(WIN32)
    # The exports are read off the objects: T_Name@bytes entries, whose decoration --kill-at takes away in the DLL. Import
    # libraries come from the same list, so that stdcall callers find decorated names that lead to undecorated exports.
    set(def ${PROJECT_BINARY_DIR}/Tnkrn15u.def)
    add_custom_command(
        OUTPUT ${def}
        COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DARCHIVE=$<TARGET_FILE:tnkrn_static> -DOUTPUT=${def}
                -P ${PROJECT_SOURCE_DIR}/cmake/make_def.cmake
        DEPENDS tnkrn_static ${PROJECT_SOURCE_DIR}/cmake/make_def.cmake
        VERBATIM)
    target_sources(tnkrn PRIVATE ${def} ${PROJECT_SOURCE_DIR}/src/platform/win32/version.rc)
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/platform/win32/version.rc PROPERTIES COMPILE_DEFINITIONS
        "MAJOR=${PROJECT_VERSION_MAJOR};MINOR=${PROJECT_VERSION_MINOR};PATCH=${PROJECT_VERSION_PATCH}")
    target_link_options(tnkrn PRIVATE -Wl,--kill-at)
    set_target_properties(tnkrn PROPERTIES PREFIX "" IMPORT_PREFIX lib)
    # Replaces the import library that the linker wrote: its names are undecorated and no stdcall caller could use it. Its members
    # and hidden symbols are named for the prefix and the library as they are given, so without their path.
    add_custom_command(TARGET tnkrn POST_BUILD
        COMMAND ${CMAKE_DLLTOOL} -k -t Tnkrn15u -d ${def} -D $<TARGET_FILE_NAME:tnkrn> -l $<TARGET_LINKER_FILE_NAME:tnkrn>
        WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
        VERBATIM)

    # clang, lld-link and llvm-dlltool stand for the compilers of the MSVC ABI.
    find_program(LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
    find_program(LLD_LINK NAMES lld-link lld-link-14)
    find_program(CLANG NAMES clang clang-14)
    if(NOT LLVM_DLLTOOL)
        message(FATAL_ERROR "llvm-dlltool is missing; scripts/setup installs it")
    endif()
    set(TNK_MSVC_LIBRARY ${PROJECT_BINARY_DIR}/Tnkrn15u.lib)
    add_custom_command(
        OUTPUT ${TNK_MSVC_LIBRARY}
        COMMAND ${LLVM_DLLTOOL} -m i386 -k -d ${def} -D $<TARGET_FILE_NAME:tnkrn> -l ${TNK_MSVC_LIBRARY}
        DEPENDS ${def}
        VERBATIM)
    add_custom_target(tnkrn_msvc_library ALL DEPENDS ${TNK_MSVC_LIBRARY})
else()
    set_target_properties(tnkrn PROPERTIES OUTPUT_NAME tnkrn15u INSTALL_RPATH ""
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    if(NOT TNK_SANITIZE)
        # All exports carry the version node of the soname, so that two releases in one process never share a name.
        set(exports_map ${PROJECT_BINARY_DIR}/tnkrn.map)
        file(STRINGS ${PROJECT_SOURCE_DIR}/tests/exports.baseline exports)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/exports.baseline)
        list(JOIN exports ";\n        " exports)
        file(CONFIGURE OUTPUT ${exports_map} @ONLY CONTENT [[
TNKRN_@PROJECT_VERSION_MAJOR@ {
    global:
        @exports@;
    local:
        *;
};
]])
        target_link_options(tnkrn PRIVATE -Wl,-z,defs -Wl,--as-needed -Wl,--version-script=${exports_map})
        set_property(TARGET tnkrn APPEND PROPERTY LINK_DEPENDS ${exports_map})
    endif()
endif()
