# stb, for the program and the codec module. Header-only libraries are copied from the host into the build folder: the host's
# include folder itself must never be on the search path of a cross build.

find_path(TNK_STB stb/stb_image.h PATHS /usr/local/include /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(TNK_STB)
    file(COPY ${TNK_STB}/stb DESTINATION ${PROJECT_BINARY_DIR}/third_party FILES_MATCHING PATTERN *.h)
endif()
