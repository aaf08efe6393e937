# Cross build for 64-bit Arm Linux. Test programs run under qemu-aarch64 with the Debian arm64
# libraries of /usr/aarch64-linux-gnu; further arm64 packages (GoogleTest) are unpacked into a
# private root, named by CONFIGSTOREC_AARCH64_ROOT (default: .aarch64-root in the source tree).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)

if(DEFINED ENV{CONFIGSTOREC_AARCH64_ROOT})
    set(aarch64_root $ENV{CONFIGSTOREC_AARCH64_ROOT})
else()
    set(aarch64_root ${CMAKE_CURRENT_LIST_DIR}/../.aarch64-root)
endif()
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu ${aarch64_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
