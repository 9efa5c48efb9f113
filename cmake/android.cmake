# A handset's build: the NDK's own toolchain file, told which handset.

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ANDROID_NDK_HOME) # CMake's own trials read this file as well
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-23)
set(ANDROID_STL c++_static) # the handset's own is no NDK's
set(CMAKE_SKIP_RPATH ON)    # the handset's loader knows where its libraries are
include("${ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake")
