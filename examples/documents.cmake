# The code that the documentation shows, with what its page says that it prints. Each block stands in its
# page right below a comment that names it:
#
#   <!-- NAME.cpp -->           a whole program
#   <!-- NAME body -->          lines for main()
#   <!-- NAME compiled -->      the same, which are compiled and not run
#   <!-- NAME frame -->         what stands before main(), for the bodies further down the page
#   <!-- NAME.sh -->            lines for the shell, which find the tool
#   <!-- NAME rehearsed -->     the same where they would do too much: `stand-in` takes the commands' places
#   <!-- NAME.service file -->  a systemd unit, which `start-service` starts
#   <!-- NAME gate -->          a file that one of the gates tries, with the program that it is for
#   <!-- not run: NAME -->      what nobody tries
#   <!-- NAME stdout -->        what NAME prints; without such a block, what a file NAME.stdout here holds,
#   <!-- NAME stderr -->        and without that, nothing
#
# Bodies and frames of one page make one program. Each body runs in a process and an empty folder of its
# own, with a clock and a thread id that stand still. So do the shell's lines, with the clock of the day.

# Sets `variable` to the fenced block below the comment `title` of `page` and `line` to the number of its
# first line. Without such a block, it is empty, or with REQUIRED behind the rest, an error.
function(read_block variable line page title)
    file(READ ${PROJECT_SOURCE_DIR}/${page} text)
    set(opening "<!-- ${title} -->\n```")
    string(FIND "${text}" "${opening}" begin)
    set(block "")
    set(number 0)
    if(begin EQUAL -1)
        if(ARGN)
            message(FATAL_ERROR "${page}: a block must begin right below '<!-- ${title} -->'")
        endif()
    else()
        string(SUBSTRING "${text}" 0 ${begin} above)
        string(REGEX REPLACE "[^\n]" "" above "${above}")
        string(LENGTH "${above}" number)
        math(EXPR number "${number} + 3")
        string(LENGTH "${opening}" length)
        math(EXPR begin "${begin} + ${length}")
        string(SUBSTRING "${text}" ${begin} -1 block)
        string(FIND "${block}" "\n```" end)
        string(SUBSTRING "${block}" 0 ${end} block)
        string(FIND "${block}" "\n" begin)  # of the block; before it, the language
        math(EXPR begin "${begin} + 1")
        string(SUBSTRING "${block}\n" ${begin} -1 block)
    endif()
    set(${variable} "${block}" PARENT_SCOPE)
    set(${line} ${number} PARENT_SCOPE)
endfunction()

# Writes what `name` of `page` prints to OUTPUT.stdout and OUTPUT.stderr.
function(write_output name page output)
    foreach(stream IN ITEMS stdout stderr)
        set(file ${CMAKE_CURRENT_SOURCE_DIR}/${name}.${stream})
        read_block(block line ${page} "${name} ${stream}")
        if(EXISTS ${file} AND block STREQUAL "")
            configure_file(${file} ${output}.${stream} COPYONLY)
        else()
            file(CONFIGURE OUTPUT ${output}.${stream} CONTENT "${block}" @ONLY)
        endif()
    endforeach()
    set_property(DIRECTORY APPEND PROPERTY TARQLOG_DOCUMENTED "${page}:${name}")
endfunction()

# Adds the program `name` of `page`. A file of that name here is what is built, and the page must
# quote it in full; otherwise the page's block is built.
function(documented_program name page)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${page})
    set(quote ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/${name})
    read_block(block line ${page} ${name}.cpp REQUIRED)
    file(CONFIGURE OUTPUT ${quote} CONTENT "${block}" @ONLY)
    set_property(DIRECTORY APPEND PROPERTY TARQLOG_DOCUMENTED "${page}:${name}.cpp")
    write_output(${name} ${page} ${output})

    set(source ${CMAKE_CURRENT_SOURCE_DIR}/${name}.cpp)
    if(EXISTS ${source})
        add_test(NAME Documentation.QuotesTheWholeOf_${name}
            COMMAND ${CMAKE_COMMAND} -E compare_files ${source} ${quote}
        )
    else()
        set(source ${quote})
    endif()
    program_that_prints(${name} ${source} ${output} Documentation.ShowsWhatIsPrintedBy_${name})
endfunction()

# Adds the program `target` of all bodies and frames of `page`, and a test for each body that is run.
# They stand behind `target`_frame.h, if there is such a file here.
function(documented_snippets target page)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${page})
    set(functions "")
    set(frame ${target}_frame.h)
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${frame})
        set(functions "#include \"${frame}\"\n\n")
    endif()
    set(table "")
    set(count 0)
    set(names "")
    file(STRINGS ${PROJECT_SOURCE_DIR}/${page} titles
        REGEX "^<!-- [a-z0-9_]+ (frame|body|compiled) -->$"
    )
    foreach(title IN LISTS titles)
        string(REGEX REPLACE "^<!-- (([a-z0-9_]+) ([a-z]+)) -->$" "\\1" title "${title}")
        set(name ${CMAKE_MATCH_2})
        set(kind ${CMAKE_MATCH_3})
        read_block(block line ${page} "${title}" REQUIRED)
        set(block "#line ${line} \"${PROJECT_SOURCE_DIR}/${page}\"\n${block}")
        if(kind STREQUAL "frame")
            string(APPEND functions "${block}\n")
        else()
            math(EXPR count "${count} + 1")
            string(APPEND functions
                "namespace snippets {\nvoid Snippet${count}() {  // ${name}\n${block}}\n}\n\n"
            )
            string(APPEND table "    {\"${name}\", snippets::Snippet${count}},\n")
        endif()
        if(kind STREQUAL "body")
            list(APPEND names ${name})
        endif()
        set_property(DIRECTORY APPEND PROPERTY TARQLOG_DOCUMENTED "${page}:${title}")
    endforeach()
    configure_file(snippets.cpp.in ${target}.cpp @ONLY)
    add_executable(${target} ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    target_compile_features(${target} PRIVATE cxx_std_17)
    target_link_libraries(${target} PRIVATE TarqLog::TarqLog)
    tarqlog_own_code(${target})
    tarqlog_runnable(program ${target})
    foreach(name IN LISTS names)
        set(output ${CMAKE_CURRENT_BINARY_DIR}/${target}.${name})
        write_output(${name} ${page} ${output})
        prints(${program} ${output} Documentation.ShowsWhatIsPrintedBy_${name}
            -DARGUMENT=${name} -DFOLDER=${output}.folder
        )
    endforeach()
endfunction()

# Adds a test for each block for the shell and for each unit in `page`. The tool is at `tool`.
function(documented_scripts page)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${page})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${page} titles
        REGEX "^<!-- [a-z0-9_-]+(\\.sh| rehearsed|\\.service file| gate) -->$"
    )
    foreach(title IN LISTS titles)
        string(REGEX REPLACE "^<!-- ((.*)(\\.sh| [a-z]+)) -->$" "\\1" title "${title}")
        set(name ${CMAKE_MATCH_2})
        set(kind ${CMAKE_MATCH_3})
        set_property(DIRECTORY APPEND PROPERTY TARQLOG_DOCUMENTED "${page}:${title}")
        if(kind STREQUAL " gate")
            continue()
        endif()
        read_block(block line ${page} "${title}" REQUIRED)
        set(output ${CMAKE_CURRENT_BINARY_DIR}/scripts/${name})
        set(script ${output}.sh)
        set(commands commands)
        set(test Documentation.ShowsWhatIsPrintedBy_${name})
        if(kind STREQUAL ".sh")
            write_output(${name} ${page} ${output})
        elseif(kind STREQUAL " rehearsed")
            set(commands stand_ins)
            set(test Documentation.NamesCommandsThatExist_${name})
        else()
            file(WRITE ${output} "${block}")
            set(script ${CMAKE_CURRENT_SOURCE_DIR}/start-service)
            set(test Documentation.ShowsAServiceThatStarts_${name})
        endif()
        file(WRITE ${output}.sh "#!/bin/sh\nset -eu\n${block}")
        file(CHMOD ${output}.sh PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
        prints(${script} ${output} ${test} -DFOLDER=${output}.folder)
        set_tests_properties(${test} PROPERTIES TIMEOUT 120
            ENVIRONMENT "TARQLOG_TOOL=${tool};TARQLOG_SOURCE=${PROJECT_SOURCE_DIR};UNIT=${output}"
            ENVIRONMENT_MODIFICATION "PATH=path_list_prepend:${CMAKE_CURRENT_BINARY_DIR}/${commands}"
        )
    endforeach()
endfunction()

# Makes what the shell's lines in the pages find: the tool and, in another folder, what stands in its
# place and in those of other commands.
function(commands_for_scripts)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/commands/tarqlog
        "#!/bin/sh\nexec \"$TARQLOG_TOOL\" \"$@\"\n"
    )
    file(CHMOD ${CMAKE_CURRENT_BINARY_DIR}/commands/tarqlog
        PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    )
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/stand_ins)
    foreach(command IN ITEMS tarqlog make sudo ldconfig cmake ctest dmesg some-program)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/stand-in
            ${CMAKE_CURRENT_BINARY_DIR}/stand_ins/${command} SYMBOLIC
        )
    endforeach()
endfunction()

# Adds the test that no block stands in a page without being tried, and no output without being compared:
# call it last.
function(every_block_is_tried)
    get_property(documented DIRECTORY PROPERTY TARQLOG_DOCUMENTED)
    list(JOIN documented "\n" documented)
    file(CONFIGURE OUTPUT documented.txt CONTENT "${documented}\n" @ONLY)
    add_test(NAME Documentation.NamesEachBlock
        COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
            -DDOCUMENTED=${CMAKE_CURRENT_BINARY_DIR}/documented.txt
            -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/named.cmake
    )
endfunction()
