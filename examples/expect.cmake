# Runs PROGRAM and fails unless it succeeds and prints what the files STDOUT and STDERR hold, line for
# line; nothing where there is no such file. Times and thread ids may differ, but not in form.
#
# With FOLDER, it runs there, in a folder that is empty at first and gone afterwards. With ARGUMENT, which it
# is given, the program's clock stands still, and nothing may differ.

cmake_minimum_required(VERSION 3.22)

function(without_time_and_thread out text)
    string(REGEX REPLACE "\\[[0-9]+-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]\\]"
        "[TIME]" text "${text}"
    )
    string(REGEX REPLACE "\\[t:[0-9]+\\]" "[t:ID]" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(compare stream printed file)
    set(expected "")
    if(EXISTS ${file})
        file(READ ${file} expected)
    endif()
    if(NOT DEFINED ARGUMENT)
        without_time_and_thread(expected "${expected}")
        without_time_and_thread(printed "${printed}")
    endif()
    if(NOT printed STREQUAL expected)
        message(SEND_ERROR "On ${stream}:\n${printed}\ninstead of:\n${expected}")
    endif()
endfunction()

# On standard output a NUL, which no variable can hold, shows as "@".
set(folder .)
if(DEFINED FOLDER)
    set(folder ${FOLDER})
    file(REMOVE_RECURSE ${FOLDER})
    file(MAKE_DIRECTORY ${FOLDER})
endif()
execute_process(COMMAND ${PROGRAM} ${ARGUMENT} COMMAND tr "\\000" "@"
    WORKING_DIRECTORY ${folder}
    OUTPUT_VARIABLE printed_stdout
    ERROR_VARIABLE printed_stderr
    RESULTS_VARIABLE results
)
if(DEFINED FOLDER)
    file(REMOVE_RECURSE ${FOLDER})
endif()
list(GET results 0 result)
compare("standard output" "${printed_stdout}" ${STDOUT})
compare("standard error" "${printed_stderr}" ${STDERR})
if(NOT result EQUAL 0)
    message(SEND_ERROR "${PROGRAM} ended with ${result}")
endif()
