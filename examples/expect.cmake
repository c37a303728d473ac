# Runs PROGRAM and fails unless it succeeds and prints what the files STDOUT and STDERR hold, line for
# line. Times and thread ids may differ, but not in form.

cmake_minimum_required(VERSION 3.22)

function(without_time_and_thread out text)
    string(REGEX REPLACE "\\[[0-9]+-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]\\]"
        "[TIME]" text "${text}"
    )
    string(REGEX REPLACE "\\[t:[0-9]+\\]" "[t:ID]" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(compare stream printed file)
    file(READ ${file} expected)
    without_time_and_thread(expected "${expected}")
    without_time_and_thread(printed "${printed}")
    if(NOT printed STREQUAL expected)
        message(SEND_ERROR "On ${stream}:\n${printed}\ninstead of:\n${expected}")
    endif()
endfunction()

execute_process(COMMAND ${PROGRAM}
    OUTPUT_VARIABLE printed_stdout
    ERROR_VARIABLE printed_stderr
    RESULT_VARIABLE result
)
compare("standard output" "${printed_stdout}" ${STDOUT})
compare("standard error" "${printed_stderr}" ${STDERR})
if(NOT result EQUAL 0)
    message(SEND_ERROR "${PROGRAM} ended with ${result}")
endif()
