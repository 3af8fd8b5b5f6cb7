# Writes the module definition of the DLL from the symbols of the archive.
# In: NM, ARCHIVE, OUTPUT.

cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} -g --defined-only ${ARCHIVE} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)

# A T_ function without @bytes was declared without the calling convention.
string(REGEX MATCHALL " T _T_[A-Za-z0-9_]+[\r\n]" cdecls "${symbols}")
if(cdecls)
    string(REGEX REPLACE "[ T]+_(T_[A-Za-z0-9_]+)[\r\n]" "\\1" names "${cdecls}")
    message(FATAL_ERROR "exported functions that are not TNK_CALL: ${names}")
endif()

string(REGEX MATCHALL " T _T_[A-Za-z0-9_]+@[0-9]+" matches "${symbols}")
list(TRANSFORM matches REPLACE "^ T _" "    ")
list(REMOVE_DUPLICATES matches)
list(SORT matches)
list(JOIN matches "\n" lines)
file(WRITE ${OUTPUT} "EXPORTS\n${lines}\n")
