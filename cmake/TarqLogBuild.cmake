# What the project's own targets are built with, and nobody else's.
function(tarqlog_own_code target)
    target_compile_options(${target} PRIVATE
        # Assertions and debug information name a source as it lies in the repository, wherever the
        # build ran.
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
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
