# Builds for the phone's processor with Debian's cross compiler; what was built runs under an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(zeqcam_triple aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER ${zeqcam_triple}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/${zeqcam_triple})

set(CMAKE_FIND_ROOT_PATH /usr/${zeqcam_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
