# Tests. tests/<subsystem>/ becomes the program <subsystem>_tests, linked with the static form of the library, with
# tests/support/ and with the plain forms of reference/. Under Wine a program is one ctest entry, since starting a process
# is slow there; elsewhere each test is.
# The thread sanitizer runs only tests with "Thread" in their names, label `threads`.

# --- the programs that use GoogleTest ---

file(GLOB_RECURSE test_files CONFIGURE_DEPENDS tests/*_test.cpp)
file(GLOB_RECURSE support_sources CONFIGURE_DEPENDS tests/support/*.cpp reference/*.cpp)

set(subsystems)
foreach(file IN LISTS test_files)
    file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR}/tests ${file})
    if(relative MATCHES "^([^/]+)/")
        list(APPEND subsystems ${CMAKE_MATCH_1})
    endif()
endforeach()
list(REMOVE_DUPLICATES subsystems)

if(subsystems)
    find_path(TNK_GOOGLETEST googletest/CMakeLists.txt PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH)
    if(NOT TNK_GOOGLETEST)
        message(FATAL_ERROR "GoogleTest's sources are missing; scripts/setup installs them (or use -DTNK_TESTS=OFF)")
    endif()
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK OFF)
    set(gtest_force_shared_crt ON)
    add_subdirectory(${TNK_GOOGLETEST} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    include(GoogleTest)

    # The precompiled header halves the time of these builds; sources still include what they use.
    add_library(test_support OBJECT ${support_sources} ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
    target_include_directories(test_support PUBLIC ${PROJECT_SOURCE_DIR} tests src)
    target_link_libraries(test_support PUBLIC tnkrn_static gtest)
    target_precompile_headers(test_support PRIVATE <gtest/gtest.h>)
    if(TNK_SANITIZE MATCHES "undefined")
        # Half the time of these builds; what is looked for is in the library.
        target_compile_options(test_support PUBLIC -fno-sanitize=undefined)
    endif()
    tnk_warnings(test_support)
endif()

foreach(subsystem IN LISTS subsystems)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS tests/${subsystem}/*.cpp)
    set(program ${subsystem}_tests)
    set(threads OFF)
    foreach(source IN LISTS sources)
        file(STRINGS ${source} named REGEX "^ *(TEST|TEST_F|TEST_P) *\\(.*Thread")
        if(named)
            set(threads ON)
        endif()
    endforeach()
    if(TNK_SANITIZE STREQUAL "thread" AND NOT threads)
        continue()
    endif()

    add_executable(${program} ${sources} $<TARGET_OBJECTS:test_support>)
    target_link_libraries(${program} PRIVATE test_support gtest_main)
    target_precompile_headers(${program} REUSE_FROM test_support)
    if(TARGET tfcmp)
        add_dependencies(${program} tfcmp)
        target_compile_definitions(${program} PRIVATE TNK_TEST_CODEC)
    endif()
    tnk_warnings(${program})
    target_compile_definitions(${program} PRIVATE "TNK_TEST_DATA=\"${PROJECT_SOURCE_DIR}/tests/tnk/data\"")
    if(TNK_SANITIZE STREQUAL "thread")
        add_test(NAME ${program} COMMAND ${program} --gtest_filter=*Thread*)
        set_tests_properties(${program} PROPERTIES LABELS threads)
    elseif(WIN32)
        add_test(NAME ${program} COMMAND ${program} --gtest_brief=1)
        set_tests_properties(${program} PROPERTIES FIXTURES_REQUIRED wine)
    else()
        # Memory that nobody filled shows: glibc fills each block that it hands out.
        gtest_discover_tests(${program} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 TEST_PREFIX ${subsystem}.
            PROPERTIES ENVIRONMENT GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.perturb=165)
    endif()
endforeach()

if(WIN32)
    add_test(NAME wine_start COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --start)
    add_test(NAME wine_stop COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} --stop)
    set_tests_properties(wine_start PROPERTIES FIXTURES_SETUP wine)
    set_tests_properties(wine_stop PROPERTIES FIXTURES_CLEANUP wine)
endif()
if(TNK_SANITIZE STREQUAL "thread")
    return()
endif()

# --- programs that know the public header and the shared library only ---

function(tnk_outside_program program source)
    add_executable(${program} ${source})
    target_link_libraries(${program} PRIVATE tnkrn)
    add_test(NAME ${program} COMMAND ${program} ${ARGN})
    if(WIN32)
        set_tests_properties(${program} PROPERTIES FIXTURES_REQUIRED wine)
    endif()
endfunction()

# The header must do for strict C99.
file(GLOB c_programs CONFIGURE_DEPENDS tests/c/*.c examples/*.c)
if(WIN32)
    file(GLOB windows_programs CONFIGURE_DEPENDS examples/windows/*.c)
    list(APPEND c_programs ${windows_programs})
endif()
foreach(source IN LISTS c_programs)
    get_filename_component(name ${source} NAME_WE)
    if(source MATCHES "/examples/")
        set(program example_${name})
    else()
        set(program c_${name})
    endif()
    tnk_outside_program(${program} ${source})
    target_compile_options(${program} PRIVATE -pedantic -Wall -Wextra -Werror)
    set_target_properties(${program} PROPERTIES C_EXTENSIONS OFF)
    if(source MATCHES "/windows/")
        target_link_libraries(${program} PRIVATE gdi32 user32)
    endif()
endforeach()

# One random walk with one hash for all targets. After a change that is meant to alter results:
#   build/linux-x64/walk >tests/walk/walk.hash
if(EXISTS ${PROJECT_SOURCE_DIR}/tests/walk/walk.cpp)
    set(hash_file ${PROJECT_SOURCE_DIR}/tests/walk/walk.hash)
    set(hash)
    if(EXISTS ${hash_file})
        file(STRINGS ${hash_file} hash LIMIT_COUNT 1)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${hash_file})
    else()
        message(WARNING "tests/walk/walk.hash is missing: the walk is compared with nothing")
    endif()
    tnk_outside_program(walk ${PROJECT_SOURCE_DIR}/tests/walk/walk.cpp ${hash})
    target_include_directories(walk PRIVATE tests)
    tnk_warnings(walk)
endif()

# --- what the shared library exports and imports ---

add_test(NAME exports
    COMMAND ${CMAKE_COMMAND} -DLIBRARY=$<TARGET_FILE:tnkrn> -DNM=${CMAKE_NM} -DOBJDUMP=${CMAKE_OBJDUMP}
            -DBASELINE=${PROJECT_SOURCE_DIR}/tests/exports.baseline
            -DHEADER=${PROJECT_SOURCE_DIR}/include/tnkrn.h -DSANITIZED=${TNK_SANITIZE}
            -DNODE=TNKRN_${PROJECT_VERSION_MAJOR}
            -P ${PROJECT_SOURCE_DIR}/cmake/check_exports.cmake)
if(WIN32)
    set(shipped $<TARGET_FILE:tnkrn>)
    if(TARGET tnk)
        list(APPEND shipped $<TARGET_FILE:tnk>)
    endif()
    if(TARGET tfcmp)
        list(APPEND shipped $<TARGET_FILE:tfcmp>)
    endif()
    add_test(NAME imports
        COMMAND ${CMAKE_COMMAND} "-DFILES=${shipped}"
                -DOBJDUMP=${CMAKE_OBJDUMP} -P ${PROJECT_SOURCE_DIR}/cmake/check_imports.cmake)

    # A program by the compiler and linker of the MSVC ABI, without a C runtime, through Tnkrn15u.lib.
    if(CLANG AND LLD_LINK)
        set(place ${PROJECT_BINARY_DIR}/msvc_consumer)
        file(MAKE_DIRECTORY ${place})
        set(source ${PROJECT_SOURCE_DIR}/tests/consumer/msvc/main.c)
        set(kernel32 ${PROJECT_SOURCE_DIR}/tests/consumer/msvc/kernel32.def)
        set(msvc_program ${PROJECT_BINARY_DIR}/msvc_consumer.exe)
        add_custom_command(
            OUTPUT ${msvc_program}
            COMMAND ${LLVM_DLLTOOL} -m i386 -k -d ${kernel32} -D KERNEL32.dll -l ${place}/kernel32.lib
            COMMAND ${CLANG} --target=i686-pc-windows-msvc -std=c99 -ffreestanding -fno-builtin -O1 -msse2 -mstackrealign
                    -Wall -Wextra -Werror -I${PROJECT_SOURCE_DIR}/include -c ${source} -o ${place}/main.obj
            COMMAND ${LLD_LINK} /nologo /machine:x86 /subsystem:console /entry:start /nodefaultlib /safeseh:no
                    /out:${msvc_program} ${place}/main.obj ${place}/kernel32.lib ${TNK_MSVC_LIBRARY}
            DEPENDS ${source} ${kernel32} ${TNK_MSVC_LIBRARY} ${PROJECT_SOURCE_DIR}/include/tnkrn.h
            VERBATIM)
        add_custom_target(msvc_consumer ALL DEPENDS ${msvc_program} tnkrn)
        add_test(NAME msvc_consumer COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} ${msvc_program})
        set_tests_properties(msvc_consumer PROPERTIES FIXTURES_REQUIRED wine)
    else()
        message(STATUS "clang or lld-link is missing: the consumer of Tnkrn15u.lib is not built")
    endif()
endif()

# --- the installed package, as a project of its own finds it ---

if(NOT TNK_SANITIZE)
    add_test(NAME package
        COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR} -DSOURCE=${PROJECT_SOURCE_DIR}/tests/consumer/package
                -DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE} "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
                -DC_COMPILER=${CMAKE_C_COMPILER} -DVERSION=${PROJECT_VERSION} -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
                -P ${PROJECT_SOURCE_DIR}/cmake/check_package.cmake)
    if(WIN32)
        set_tests_properties(package PROPERTIES FIXTURES_REQUIRED wine)
    endif()
endif()
