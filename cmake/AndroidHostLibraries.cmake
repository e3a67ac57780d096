# Debian ships the AOSP liblog, libutils and libbase without pkg-config or CMake files,
# so the imported targets are made here from the fixed install locations.
include(GNUInstallDirs)

set(ANDROID_HOST_INCLUDE_DIR "/usr/include/android" CACHE PATH "Debian's AOSP headers")
find_library(ANDROID_LIBLOG log PATHS "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android" NO_DEFAULT_PATH)
find_library(ANDROID_LIBUTILS utils PATHS "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android" NO_DEFAULT_PATH)
find_library(ANDROID_LIBBASE base PATHS "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android" NO_DEFAULT_PATH)

foreach(lib LIBLOG LIBUTILS LIBBASE)
  if(NOT ANDROID_${lib})
    message(FATAL_ERROR "Debian's android ${lib} was not found; run scripts/setup.sh first")
  endif()
endforeach()

get_filename_component(ANDROID_HOST_LIBRARY_DIR "${ANDROID_LIBLOG}" DIRECTORY)

function(_android_host_import name path)
  add_library(android::${name} SHARED IMPORTED GLOBAL)
  # Debian's libutils headers use uintptr_t without including <cstdint>, and the
  # headers carry clang-only pragmas; treat them as system headers and pre-include it.
  set_target_properties(android::${name} PROPERTIES
    IMPORTED_LOCATION "${path}"
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${ANDROID_HOST_INCLUDE_DIR}"
    INTERFACE_INCLUDE_DIRECTORIES "${ANDROID_HOST_INCLUDE_DIR}"
    INTERFACE_COMPILE_OPTIONS "$<$<COMPILE_LANGUAGE:CXX>:SHELL:-include cstdint>")
endfunction()

_android_host_import(log "${ANDROID_LIBLOG}")
_android_host_import(utils "${ANDROID_LIBUTILS}")
_android_host_import(base "${ANDROID_LIBBASE}")

# The libraries live outside the loader's default path.
list(APPEND CMAKE_BUILD_RPATH "${ANDROID_HOST_LIBRARY_DIR}")
list(APPEND CMAKE_INSTALL_RPATH "${ANDROID_HOST_LIBRARY_DIR}")
