# The command-line program.

file(GLOB_RECURSE tool_sources CONFIGURE_DEPENDS tools/tnk/*.cpp)
if(NOT tool_sources)
    return()
endif()

find_path(TNK_CLI11 CLI/CLI.hpp PATHS /usr/local/include /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_path(TNK_JSON nlohmann/json.hpp PATHS /usr/local/include /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT TNK_CLI11 OR NOT TNK_JSON)
    message(FATAL_ERROR "CLI11 or nlohmann-json is missing; scripts/setup installs them (or configure with -DTNK_TOOL=OFF)")
endif()
file(COPY ${TNK_CLI11}/CLI DESTINATION ${PROJECT_BINARY_DIR}/third_party FILES_MATCHING PATTERN *.hpp)
file(COPY ${TNK_JSON}/nlohmann DESTINATION ${PROJECT_BINARY_DIR}/third_party FILES_MATCHING PATTERN *.hpp)

foreach(codec png jpeg tiff)
    if(NOT TARGET tnk::${codec})
        message(STATUS "tnk is not built: lib${codec} is missing")
        return()
    endif()
endforeach()

# What --version tells; looked up by every build, written when it changed.
add_custom_target(tnk_build_id
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DVERSION=${PROJECT_VERSION} -DSYSTEM=${CMAKE_SYSTEM_NAME}
            -DOUTPUT=${PROJECT_BINARY_DIR}/generated/build_id.h -P ${PROJECT_SOURCE_DIR}/cmake/build_id.cmake
    BYPRODUCTS ${PROJECT_BINARY_DIR}/generated/build_id.h
    VERBATIM)

add_executable(tnk ${tool_sources})
add_dependencies(tnk tnk_build_id)
target_include_directories(tnk PRIVATE tools/tnk ${PROJECT_BINARY_DIR}/generated)
target_include_directories(tnk SYSTEM PRIVATE ${PROJECT_BINARY_DIR}/third_party)
target_link_libraries(tnk PRIVATE tnkrn Threads::Threads tnk::png tnk::jpeg tnk::tiff)
tnk_warnings(tnk)
if(WIN32)
    # Several large pictures at a time need more than the 2 GB that a 32-bit program gets otherwise.
    target_link_options(tnk PRIVATE -Wl,--large-address-aware)
    foreach(source IN LISTS tool_sources)
        file(STRINGS ${source} wide_main REGEX "wmain *\\(")
        if(wide_main)
            target_link_options(tnk PRIVATE -municode)
        endif()
    endforeach()
endif()

# The expected bytes of all pictures are renewed by the same command with -DUPDATE=ON.
# The system's interpreter before others: that is the one with Pillow.
find_program(TNK_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
find_program(TNK_PYTHON python3 NO_CMAKE_FIND_ROOT_PATH)
if(TNK_TESTS AND TNK_PYTHON)
    file(GLOB tool_tests CONFIGURE_DEPENDS tests/tnk/*_test.py)
    foreach(file IN LISTS tool_tests)
        get_filename_component(name ${file} NAME_WE)
        add_test(NAME tnk.${name} COMMAND ${TNK_PYTHON} ${file} ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:tnk>)
        if(WIN32)
            set_tests_properties(tnk.${name} PROPERTIES FIXTURES_REQUIRED wine)
        endif()
    endforeach()
    if(NOT WIN32 AND NOT TNK_SANITIZE)
        # The commands that README.md and the guide show.
        add_test(NAME documents
            COMMAND ${TNK_PYTHON} ${PROJECT_SOURCE_DIR}/tests/docs/docs_test.py ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
    endif()
elseif(TNK_TESTS)
    message(STATUS "python3 is missing: tnk is not tested")
endif()
