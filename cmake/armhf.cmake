# Builds for 32-bit ARM with Debian's cross compiler. What is built runs under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)  # GoogleTest's sources want one
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi")  # no notes on what GCC 7 passes otherwise than GCC 6
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
