# libpng, libjpeg-turbo and libtiff, as tnk::png, tnk::jpeg and tnk::tiff, and zlib, as tnk::zlib; each is there or not.
# The system's own for 64 bits, else the static ones that scripts/codecs has built: headers and libraries of the host must
# never be on the search path of another target.

# Asked of the compiler rather than of find_package, which would offer the 64-bit zlib to a 32-bit build.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LIBRARIES z)
check_cxx_source_compiles("#include <zlib.h>\nint main() { return zlibVersion() == nullptr; }" TNK_HAVE_ZLIB)
unset(CMAKE_REQUIRED_LIBRARIES)
if(TNK_HAVE_ZLIB)
    add_library(tnk::zlib INTERFACE IMPORTED)
    target_link_libraries(tnk::zlib INTERFACE z)
endif()

if(WIN32)
    set(codecs windows-x86)
elseif(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(codecs linux-x86)
else()
    set(codecs "")
endif()
if(codecs)
    set(TNK_CODECS ${PROJECT_SOURCE_DIR}/build/codecs/${codecs} CACHE PATH "Where include/ and lib/ of the codecs lie")
    set(places PATHS ${TNK_CODECS} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
endif()

function(tnk_find_codec name header)
    find_path(TNK_${name}_INCLUDE ${header} PATH_SUFFIXES include ${places})
    find_library(TNK_${name}_LIBRARY ${name} PATH_SUFFIXES lib ${places})
    mark_as_advanced(TNK_${name}_INCLUDE TNK_${name}_LIBRARY)
    if(NOT TNK_${name}_INCLUDE OR NOT TNK_${name}_LIBRARY)
        message(STATUS "lib${name} is missing; scripts/setup installs or builds it")
        return()
    endif()
    add_library(tnk::${name} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(tnk::${name} PROPERTIES
        IMPORTED_LOCATION ${TNK_${name}_LIBRARY}
        INTERFACE_INCLUDE_DIRECTORIES ${TNK_${name}_INCLUDE})
    if(codecs AND ARGN)
        # What a static library needs itself.
        target_link_libraries(tnk::${name} INTERFACE ${ARGN})
    endif()
endfunction()

tnk_find_codec(jpeg jpeglib.h)
tnk_find_codec(png png.h z m)
tnk_find_codec(tiff tiffio.h tnk::jpeg z m)
