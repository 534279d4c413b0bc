# sdbus-c++, and what the code has to know of the versions of it and of libsystemd.
find_package(PkgConfig REQUIRED)

# Its virtual functions stand in another order than those of all others of its major version.
set(sdbus_refused 2.3.0)

# refuse_sdbus(FOUND ADVICE): ends the configuration. The blank keeps CMake from breaking the line.
function(refuse_sdbus found advice)
  message(FATAL_ERROR
    " libBrailleTranslate works with sdbus-c++ 1.2 and later and with 2 except ${sdbus_refused}; "
    "pkg-config finds ${found}: ${advice}")
endfunction()

# Prefixed to avoid clashes with a parent project.
pkg_check_modules(BrailleTranslate_sdbus QUIET IMPORTED_TARGET GLOBAL sdbus-c++)
if(NOT BrailleTranslate_sdbus_FOUND)
  refuse_sdbus(none "install libsdbus-c++-dev")
endif()
if(BrailleTranslate_sdbus_VERSION VERSION_LESS 1.2
    OR BrailleTranslate_sdbus_VERSION VERSION_EQUAL ${sdbus_refused}
    OR BrailleTranslate_sdbus_VERSION VERSION_GREATER_EQUAL 3)
  refuse_sdbus("${BrailleTranslate_sdbus_VERSION}" "install another version")
endif()
pkg_check_modules(BrailleTranslate_systemd QUIET REQUIRED libsystemd)

# 20100 for 2.1.0.
string(REGEX MATCH "^([0-9]+)[.]([0-9]+)([.]([0-9]+))?" matched "${BrailleTranslate_sdbus_VERSION}")
set(sdbus_major "${CMAKE_MATCH_1}")
math(EXPR sdbus_version "${sdbus_major} * 10000 + ${CMAKE_MATCH_2} * 100 + 0${CMAKE_MATCH_4}")
string(REGEX MATCH "^[0-9]+" systemd_version "${BrailleTranslate_systemd_VERSION}")

# For our own code; the public headers are the same for all versions.
add_library(BrailleTranslateSdbus INTERFACE)
target_include_directories(BrailleTranslateSdbus INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_definitions(BrailleTranslateSdbus INTERFACE
  SDBUS_VERSION=${sdbus_version} LIBSYSTEMD_VERSION=${systemd_version})
target_link_libraries(BrailleTranslateSdbus INTERFACE PkgConfig::BrailleTranslate_sdbus)
