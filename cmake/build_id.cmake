# Writes what the program tells of itself: its version, the revision that it is built from, and the system.
# In: SOURCE, VERSION, SYSTEM, OUTPUT.

cmake_minimum_required(VERSION 3.25)

set(revision unknown)
find_program(GIT git)
if(GIT)
    # Without a repository, or with one of another user, there is none to tell.
    execute_process(COMMAND ${GIT} -C ${SOURCE} describe --always --dirty --abbrev=10 "--exclude=*"
                    OUTPUT_VARIABLE found ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(found)
        set(revision ${found})
    endif()
endif()
file(CONFIGURE OUTPUT ${OUTPUT} @ONLY CONTENT [[
#pragma once

namespace tool {

constexpr const char* kVersion = "@VERSION@";
constexpr const char* kRevision = "@revision@";
constexpr const char* kSystem = "@SYSTEM@";

}  // namespace tool
]])
