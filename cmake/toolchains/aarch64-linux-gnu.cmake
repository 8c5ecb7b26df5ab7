# Cross-compiles for 64-bit Arm Linux with the Debian cross toolchain (g++-aarch64-linux-gnu), and
# runs the test programs under qemu-user, so that ctest and test discovery work as natively:
#   cmake -S . -B build-aarch64 \
#     -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake \
#     -DQORSTL_GTEST_SOURCE_DIR=/usr/src/googletest
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(QORSTL_CROSS_TRIPLE aarch64-linux-gnu)
set(QORSTL_CROSS_SYSROOT /usr/${QORSTL_CROSS_TRIPLE})

set(CMAKE_C_COMPILER ${QORSTL_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${QORSTL_CROSS_TRIPLE}-g++)

# Libraries and headers of the target only; programs (cmake, localedef, iconv) of the host.
set(CMAKE_FIND_ROOT_PATH ${QORSTL_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# ctest and gtest_discover_tests start the test programs through this. The program loader comes
# from the sysroot (-L); the C library must come from the same place. Where the arm64 C library is
# also installed multiarch (/lib/aarch64-linux-gnu, for its charset modules), the host's library
# cache points the sysroot's loader at that other build of it, and the mismatched pair hangs in
# the first pthread_create. The library path keeps loader and C library one build.
find_program(QORSTL_QEMU_AARCH64 NAMES qemu-aarch64 qemu-aarch64-static)
if(QORSTL_QEMU_AARCH64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QORSTL_QEMU_AARCH64} -L ${QORSTL_CROSS_SYSROOT}
      -E LD_LIBRARY_PATH=${QORSTL_CROSS_SYSROOT}/lib)
endif()
