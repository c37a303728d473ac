# Builds for macOS on TARQLOG_PROCESSOR, arm64 or x86_64, where there is no Mac: with Clang, LLVM's
# linker and its C++ library, and the declarations beside this file in place of the system's headers.
# What is built has no system to run on.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${TARQLOG_PROCESSOR})
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET ${TARQLOG_PROCESSOR}-apple-macos10.15)
set(CMAKE_OSX_SYSROOT ${CMAKE_CURRENT_LIST_DIR})
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # there is nothing to link a program with
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARQLOG_PROCESSOR)
set(CMAKE_HAVE_LIBC_PTHREAD ON)
execute_process(COMMAND llvm-config --bindir
    OUTPUT_VARIABLE llvm OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY
)
set(CMAKE_INSTALL_NAME_TOOL ${llvm}/llvm-install-name-tool)
set(CMAKE_CXX_FLAGS_INIT "-nostdlibinc -nostdinc++ -isystem '${CMAKE_OSX_SYSROOT}/libc++'\
 -isystem ${llvm}/../include/c++/v1 -isystem '${CMAKE_OSX_SYSROOT}/include'")
# Clang gives the linker what it needs to know when it takes it for a new one.
set(CMAKE_SHARED_LINKER_FLAGS_INIT
    "-nostdlib -fuse-ld=${llvm}/ld64.lld -mlinker-version=609 -undefined dynamic_lookup"
)
