# Cross-compiles for 32-bit Windows; the programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)

# The posix flavour: the other one has no std::mutex, which the test framework needs.
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

# What script/bootstrap builds, unless the user names a prefix of their own in CMAKE_PREFIX_PATH.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH} ${CMAKE_CURRENT_LIST_DIR}/../build/deps /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR wine)

# Callers built by other compilers enter with a stack aligned to 4 bytes only, and the host decides
# about the x87 control word: realign, and compute in SSE registers. SSE2 must be on for the whole unit.
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -ffp-contract=off -mstackrealign")
set(CMAKE_C_FLAGS_INIT "${CMAKE_CXX_FLAGS_INIT}")

# No run-time DLL of the compiler may be needed; the same sources give the same bytes.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--no-insert-timestamp")
