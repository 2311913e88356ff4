# Toolchain for 32-bit big-endian PowerPC Linux: Debian's cross compiler, with the dependencies in the folder that
# scripts/powerpc-sysroot fills. The built programs run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)

set(QZ_DEBIAN_ARCHITECTURE powerpc)
set(QZ_EMULATOR qemu-ppc-static)
set(QZ_EMULATED_ROOT /usr/powerpc-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR "${QZ_EMULATOR};-L;${QZ_EMULATED_ROOT}")

# CMake must not find libraries and headers of the build machine.
get_filename_component(qz_sysroot "${CMAKE_CURRENT_LIST_DIR}/../build/powerpc-sysroot" ABSOLUTE)
set(QZ_EMULATED_LOCALES "${qz_sysroot}/usr/lib/locale")
set(CMAKE_FIND_ROOT_PATH "${qz_sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${qz_sysroot}/usr/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
