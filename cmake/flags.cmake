# Flags of everything that is built here, set before any target exists. Library-only flags are in tnk_library_flags().

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # SSE2 arithmetic keeps floating results equal on all targets; callers align the stack to 4 bytes only.
    add_compile_options(-msse2 -mfpmath=sse -mstackrealign)
    if(NOT WIN32)
        # Files and positions beyond 2 GB.
        add_compile_definitions(_FILE_OFFSET_BITS=64)
    endif()
endif()
add_compile_options(-ffp-contract=off)

set(CMAKE_C_FLAGS_DEBUG "-O1 -g")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")
# The library asks for -O3 itself; tests and tools gain nothing from it but compile time.
# This is what is packaged: the same bytes wherever the tree lies, also when ccache makes its paths relative (base_dir).
file(RELATIVE_PATH to_source ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
string(REGEX REPLACE "/$" "" to_source "${to_source}")
set(release_flags "-O2 -g1 -gno-record-gcc-switches -DNDEBUG")
string(APPEND release_flags " -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${to_source}=.")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "${release_flags}")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "${release_flags}")

if(TNK_SANITIZE)
    # Line numbers do for reports, and cost a third less time of the compiler's than all of -g.
    string(REPLACE "-g" "-g1" CMAKE_C_FLAGS_DEBUG "${CMAKE_C_FLAGS_DEBUG}")
    string(REPLACE "-g" "-g1" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
    add_compile_options(-fsanitize=${TNK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TNK_SANITIZE})
endif()
if(TNK_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(WIN32)
    # The compiler's runtime libraries are linked in: what is built imports system modules only.
    add_link_options(-static -static-libgcc -static-libstdc++ -Wl,--no-insert-timestamp)
endif()

# Warnings for our own code; third-party sources that are built here do not get them. Presets make errors of them; a build with
# another compiler or other flags, which warns of other things, goes through.
function(tnk_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wshadow -Wundef -Wvla -Wimplicit-fallthrough)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Vector types stay inside the library: how they would be passed between compilers does not matter.
        target_compile_options(${target} PRIVATE -Wno-psabi)
        if(TNK_SANITIZE)
            # Instrumentation misleads the warnings that follow values; builds without it keep them.
            target_compile_options(${target} PRIVATE
                -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
        endif()
    endif()
endfunction()

function(tnk_library_flags target)
    tnk_warnings(${target})
    if(NOT TNK_SANITIZE)
        # Callers may run on small stacks: a conversion's three frames that count stay below 16 KB. Sanitizers pad frames.
        target_compile_options(${target} PRIVATE -Wframe-larger-than=12288)
    endif()
    target_compile_options(${target} PRIVATE
        $<$<CONFIG:RelWithDebInfo>:-O3>
        $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
endfunction()
