# Asked before anything else of a handset's build: CMake's own words for a toolchain file that is not there mislead.

if(NOT ANDROID_NDK_HOME)
  message(FATAL_ERROR " ANDROID_NDK_HOME is not set: "
    "name the NDK's folder, in the environment or with -DANDROID_NDK_HOME=")
elseif(NOT EXISTS "${ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake")
  message(FATAL_ERROR " ANDROID_NDK_HOME does not name an NDK's folder: "
    "there is no ${ANDROID_NDK_HOME}/build/cmake/android.toolchain.cmake")
endif()
