# What the project's own targets are built with, and nobody else's.
function(tarqlog_own_code target)
    target_compile_options(${target} PRIVATE
        # Assertions and debug information name a source as it lies in the repository, wherever the
        # build ran.
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
        -ffile-prefix-map=${PROJECT_BINARY_DIR}=.
    )
    if(TARQLOG_WARNINGS)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
            $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>
        )
    endif()
    if(TARQLOG_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${TARQLOG_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        )
        target_link_options(${target} PRIVATE -fsanitize=${TARQLOG_SANITIZE})
    endif()
endfunction()

# What is installed stops at a broken stack or an overrun buffer instead of going on, and its tables
# of addresses are read-only once it is loaded. Call tarqlog_own_code() too.
function(tarqlog_harden target)
    target_compile_options(${target} PRIVATE -fstack-protector-strong)
    # Only optimised code knows the sizes of its buffers. The sanitizers look for themselves, and
    # whoever asks for another level in CXXFLAGS or CPPFLAGS gets it.
    if(NOT TARQLOG_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE|-O0")
        target_compile_definitions(${target} PRIVATE
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:_FORTIFY_SOURCE=2>
        )
    endif()
    if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
    endif()
endfunction()
