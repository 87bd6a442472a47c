# Android's libbase and liblog as Debian ships them: headers under
# /usr/include/android, libraries under /usr/lib/<multiarch>/android.
# Defines Android::base and Android::log.
set(_android_multiarch "${CMAKE_LIBRARY_ARCHITECTURE}")
if(NOT _android_multiarch)
    set(_android_multiarch "${CMAKE_SYSTEM_PROCESSOR}-linux-gnu")
endif()
set(ANDROID_LIBS_DIR "/usr/lib/${_android_multiarch}/android" CACHE PATH
    "Directory holding Android's libbase.so and liblog.so")

find_path(ANDROID_INCLUDE_DIR android-base/logging.h PATHS /usr/include/android
          NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_library(ANDROID_BASE_LIBRARY base PATHS ${ANDROID_LIBS_DIR} NO_DEFAULT_PATH
             NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_library(ANDROID_LOG_LIBRARY log PATHS ${ANDROID_LIBS_DIR} NO_DEFAULT_PATH
             NO_CMAKE_FIND_ROOT_PATH REQUIRED)

add_library(Android::log SHARED IMPORTED)
set_target_properties(Android::log PROPERTIES
    IMPORTED_LOCATION ${ANDROID_LOG_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR})
add_library(Android::base SHARED IMPORTED)
set_target_properties(Android::base PROPERTIES
    IMPORTED_LOCATION ${ANDROID_BASE_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_INCLUDE_DIR}
    INTERFACE_LINK_LIBRARIES Android::log)
