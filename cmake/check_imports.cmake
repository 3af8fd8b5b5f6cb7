# Fails when a built file imports anything but system modules (and the library itself).
# In: FILES, OBJDUMP.

cmake_minimum_required(VERSION 3.25)

set(allowed kernel32.dll user32.dll gdi32.dll msvcrt.dll ucrtbase.dll)
foreach(file IN LISTS FILES)
    execute_process(COMMAND ${OBJDUMP} -p ${file} OUTPUT_VARIABLE dump COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "DLL Name: [^\r\n]+" modules "${dump}")
    list(TRANSFORM modules REPLACE "DLL Name: " "")
    foreach(module IN LISTS modules)
        string(TOLOWER ${module} lower)
        if(NOT lower IN_LIST allowed AND NOT lower MATCHES "^api-ms-win-crt-" AND NOT lower STREQUAL "tnkrn15u.dll"
           AND NOT (file MATCHES "\\.exe$" AND lower MATCHES "^(shell32|advapi32)\\.dll$"))
            message(SEND_ERROR "${file} imports ${module}")
        endif()
    endforeach()
    message(STATUS "${file}: ${modules}")
endforeach()
