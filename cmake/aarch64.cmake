# The handset's architecture, with the cross compiler of Debian: shows on a workstation, by way of qemu-user, what an
# unsigned char, other alignments and other system calls do.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
