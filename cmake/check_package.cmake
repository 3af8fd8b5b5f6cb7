# Installs into a fresh folder, then configures, builds and runs a project that knows of it only by CMAKE_PREFIX_PATH.
# In: BUILD, SOURCE, TOOLCHAIN, EMULATOR, C_COMPILER.

cmake_minimum_required(VERSION 3.25)

set(place ${BUILD}/package_test)
file(REMOVE_RECURSE ${place})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${place}/prefix
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

set(options -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${place}/prefix -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
if(TOOLCHAIN)
    list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH)
else()
    list(APPEND options -DCMAKE_C_COMPILER=${C_COMPILER})
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${place}/build ${options} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${place}/build COMMAND_ERROR_IS_FATAL ANY)

if(TOOLCHAIN)
    # Windows looks for the DLL beside the program.
    file(COPY ${place}/prefix/bin/Tnkrn15u.dll DESTINATION ${place}/build)
    execute_process(COMMAND ${EMULATOR} ${place}/build/consumer.exe COMMAND_ERROR_IS_FATAL ANY)
else()
    execute_process(COMMAND ${place}/build/consumer COMMAND_ERROR_IS_FATAL ANY)
endif()
