# The C++ libraries that the system has in binary form are for its own standard library.
if(CMAKE_CXX_FLAGS MATCHES "-stdlib=libc\\+\\+")
    set(TARQLOG_OTHER_STANDARD_LIBRARY ON)
endif()

# What the project's own targets are built with, and nobody else's.
function(tarqlog_own_code target)
    target_compile_options(${target} PRIVATE
        # Assertions and debug information name a source as it lies in the repository, wherever the
        # build ran.
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
        -ffile-prefix-map=${PROJECT_BINARY_DIR}=.
    )
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        # A clock that runs on after 2038, and files above 2 GiB. No public header shows a type that
        # changes with these.
        target_compile_definitions(${target} PRIVATE _TIME_BITS=64 _FILE_OFFSET_BITS=64)
    endif()
    if(TARQLOG_WARNINGS)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
            $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>
        )
    endif()
    if(TARQLOG_COVERAGE)
        target_link_options(${target} PRIVATE --coverage)
    endif()
    if(TARQLOG_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${TARQLOG_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        )
        target_link_options(${target} PRIVATE -fsanitize=${TARQLOG_SANITIZE})
        # Clang defines no names for them, as GCC does.
        if(TARQLOG_SANITIZE MATCHES "address")
            target_compile_definitions(${target} PRIVATE TARQLOG_TEST_ASAN)
        elseif(TARQLOG_SANITIZE MATCHES "thread")
            target_compile_definitions(${target} PRIVATE TARQLOG_TEST_TSAN)
        endif()
    endif()
endfunction()

# What is installed stops at a broken stack or an overrun buffer instead of going on, and its tables
# of addresses are filled in and read-only once it is loaded, so that calls need no stubs that would
# fill them in. Call tarqlog_own_code() too.
function(tarqlog_harden target)
    target_compile_options(${target} PRIVATE -fstack-protector-strong -fno-plt)
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

# Sets `variable` to the path under which a test finds `target` to run: its own or, in a cross build,
# that of a script that runs it in the emulator.
function(tarqlog_runnable variable target)
    set(path $<TARGET_FILE:${target}>)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
        set(script ${CMAKE_CURRENT_BINARY_DIR}/emulated/${target})
        file(GENERATE OUTPUT ${script}
            CONTENT "#!/bin/sh\nexec ${emulator} '${path}' \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
        )
        set(path ${script})
    endif()
    set(${variable} ${path} PARENT_SCOPE)
endfunction()
