# Builds for the phone's processor with Debian's cross compiler; what was built runs in scripts/machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(zeqcam_triple aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER ${zeqcam_triple}-g++)
# Only the machine can ask a test program which tests it has.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)

set(CMAKE_FIND_ROOT_PATH /usr/${zeqcam_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
