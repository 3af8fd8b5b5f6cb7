# Run by CPack between installing and packing: takes debug information out, adds documents and licences, gives all files the
# time and the rights that packages want.

cmake_minimum_required(VERSION 3.25)

set(stage ${CPACK_TEMPORARY_DIRECTORY})
set(source ${CPACK_TNK_SOURCE})
set(version ${CPACK_PACKAGE_VERSION})

# One copy of a text, packed as Debian's policy wants it.
function(pack_text from to)
    configure_file(${from} ${to} COPYONLY)
    execute_process(COMMAND gzip -9nf ${to} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(stage_debian component package)
    set(root ${stage}/${component}/usr)
    set(documents ${root}/share/doc/${package})
    file(REMOVE_RECURSE ${root}/share/doc)
    file(COPY ${source}/packaging/debian/copyright DESTINATION ${documents})
    pack_text(${source}/CHANGELOG.md ${documents}/changelog)
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
    file(WRITE ${stage}/changelog.Debian "tnkrn (${version}-1) stable; urgency=medium

  * Release ${version}; what is new in it stands in changelog.gz.

 -- ${CPACK_TNK_MAINTAINER}  ${date}
")
    pack_text(${stage}/changelog.Debian ${documents}/changelog.Debian)
endfunction()

function(stage_manual)
    set(place ${stage}/tools/usr/share/man/man1)
    set(program ${CPACK_TNK_BUILD}/tnk)
    file(MAKE_DIRECTORY ${place})
    execute_process(COMMAND ${program} --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE ".*\nSubcommands:\n" "" rows "${help}")
    string(REGEX REPLACE "\n\n.*" "" rows "${rows}")
    string(REGEX MATCHALL "[^\n]+" rows "${rows}")
    foreach(row IN ITEMS "  tnk  convert, reduce and compare pictures" ${rows})
        string(REGEX MATCH "^ +([a-z]+) +(.*)$" row "${row}")
        set(command ${CMAKE_MATCH_1})
        set(purpose ${CMAKE_MATCH_2})
        set(page tnk)
        set(call ${program})
        if(NOT command STREQUAL tnk)
            set(page tnk-${command})
            set(call "${program} ${command}")
        endif()
        execute_process(COMMAND help2man --no-info --section=1 "--name=${purpose}" "--version-string=${version}"
                                "--source=tnkrn ${version}" "${call}" OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
        # The page's own name, and none of the build folder.
        string(TOUPPER ${page} upper)
        string(REGEX REPLACE "\n\\.TH [^ ]+ " "\n.TH ${upper} " text "${text}")
        string(REGEX REPLACE "\n\\.SH NAME\n[^\n]*" "\n.SH NAME\n${page} \\\\- ${purpose}" text "${text}")
        file(WRITE ${place}/${page}.1 "${text}")
        execute_process(COMMAND gzip -9nf ${place}/${page}.1 COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
endfunction()

function(stage_windows root)
    set(debug ${CPACK_TNK_BUILD}/cpack/debug)
    file(REMOVE_RECURSE ${debug})
    file(MAKE_DIRECTORY ${debug})
    foreach(file Tnkrn15u.dll TFCMP15U.DLL tnk.exe)
        execute_process(COMMAND ${CPACK_TNK_OBJCOPY} -p --only-keep-debug ${root}/bin/${file} ${debug}/${file}.debug
                        COMMAND_ERROR_IS_FATAL ANY)
        execute_process(COMMAND ${CPACK_TNK_STRIP} -p --strip-all ${root}/bin/${file} COMMAND_ERROR_IS_FATAL ANY)
        execute_process(COMMAND ${CPACK_TNK_OBJCOPY} -p --add-gnu-debuglink=${debug}/${file}.debug ${root}/bin/${file}
                        COMMAND_ERROR_IS_FATAL ANY)
    endforeach()

    set(documents ${root}/share/doc/tnkrn)
    file(COPY ${source}/CHANGELOG.md ${source}/SECURITY.md ${source}/examples DESTINATION ${documents})
    if(EXISTS ${source}/build/site/index.html)
        file(COPY ${source}/build/site/ DESTINATION ${documents}/html)
    endif()
    # Everything that is linked in.
    file(COPY ${CPACK_TNK_CODECS}/licenses/ DESTINATION ${documents}/licenses)
    foreach(package mingw-w64-i686-dev=mingw-w64 gcc-mingw-w64-base=gcc-runtime libcli11-dev=CLI11
                    nlohmann-json3-dev=nlohmann-json)
        string(REGEX MATCH "^(.*)=(.*)$" package ${package})
        configure_file(/usr/share/doc/${CMAKE_MATCH_1}/copyright ${documents}/licenses/${CMAKE_MATCH_2} COPYONLY)
    endforeach()
endfunction()

if(CPACK_GENERATOR STREQUAL "DEB")
    stage_debian(library libtnkrn15u${CPACK_PACKAGE_VERSION_MAJOR})
    stage_debian(development libtnkrn-dev)
    stage_debian(tools tnkrn-tools)
    stage_manual()
    file(COPY ${source}/examples DESTINATION ${stage}/development/usr/share/doc/libtnkrn-dev)
    # Installed programs find the library where the system looks.
    execute_process(COMMAND chrpath --delete ${stage}/tools/usr/bin/tnk OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
else()
    stage_windows(${stage})
endif()

file(GLOB_RECURSE files LIST_DIRECTORIES true ${stage}/*)
foreach(file IN LISTS files)
    if(IS_SYMLINK ${file})
        continue()
    elseif(IS_DIRECTORY ${file} OR file MATCHES "/bin/")
        file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    else()
        file(CHMOD ${file} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
endforeach()
