# Toolchain for the 32-bit x86 product target on an x86_64 Debian host (g++-multilib).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
# 64-bit file offsets for every compile: stat, readdir, open and lseek then
# work on files over 2 GiB and on file systems with 64-bit inode numbers.
set(CMAKE_C_FLAGS_INIT "-m32 -D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-m32 -D_FILE_OFFSET_BITS=64")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
