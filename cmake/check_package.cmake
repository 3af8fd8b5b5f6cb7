# Installs into a fresh folder and moves it, then configures, builds and runs a project that knows of it only by
# CMAKE_PREFIX_PATH; natively also by pkg-config and a plain compiler.
# In: BUILD, SOURCE, TOOLCHAIN, EMULATOR, C_COMPILER, VERSION, LIBDIR.

cmake_minimum_required(VERSION 3.25)

set(place ${BUILD}/package_test)
set(prefix ${place}/prefix)
file(REMOVE_RECURSE ${place})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${place}/first
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${place}/first ${prefix})

set(options -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
if(TOOLCHAIN)
    list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH)
else()
    list(APPEND options -DCMAKE_C_COMPILER=${C_COMPILER})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${place}/build ${options} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${place}/build COMMAND_ERROR_IS_FATAL ANY)

if(TOOLCHAIN)
    # Windows looks for the DLL beside the program.
    file(COPY ${prefix}/bin/Tnkrn15u.dll ${prefix}/bin/TFCMP15U.DLL DESTINATION ${place}/build)
    execute_process(COMMAND ${EMULATOR} ${place}/build/consumer.exe ${VERSION} COMMAND_ERROR_IS_FATAL ANY)
    return()
endif()
execute_process(COMMAND ${place}/build/consumer ${VERSION} COMMAND_ERROR_IS_FATAL ANY)

find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --modversion tnkrn OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs tnkrn OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${C_COMPILER} -o ${place}/by_pkg_config ${SOURCE}/main.c ${flags} COMMAND_ERROR_IS_FATAL ANY)
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
execute_process(COMMAND ${place}/by_pkg_config ${version} COMMAND_ERROR_IS_FATAL ANY)
