# Where an installation has its parts; relative folders are below the prefix.
include(GNUInstallDirs)

# The system looks for these in places of its own, which another prefix than /usr may not have.
set(BRAILLETRANSLATE_BUS_POLICIES "${CMAKE_INSTALL_DATADIR}/dbus-1/system.d" CACHE STRING
  "Where the system bus reads its policies; with another prefix than /usr: /etc/dbus-1/system.d")
set(BRAILLETRANSLATE_BUS_SERVICES "${CMAKE_INSTALL_DATADIR}/dbus-1/system-services" CACHE STRING
  "Where the system bus reads what it can start")
set(BRAILLETRANSLATE_UNITS "lib/systemd/system" CACHE STRING "Where systemd reads its units")
set(BRAILLETRANSLATE_SYSUSERS "lib/sysusers.d" CACHE STRING
  "Where systemd-sysusers reads the system's users")

# Below the prefix, unless that is one of those whose configuration is in /etc.
set(BRAILLETRANSLATE_CONFIGURATION_FOLDER "${CMAKE_INSTALL_SYSCONFDIR}")
cmake_path(IS_PREFIX CMAKE_INSTALL_PREFIX "${CMAKE_INSTALL_FULL_SYSCONFDIR}" is_below_prefix)
if(NOT is_below_prefix)
  set(BRAILLETRANSLATE_CONFIGURATION_FOLDER "${CMAKE_INSTALL_FULL_SYSCONFDIR}")
endif()

# The user that the service runs as, and the only one that may own its name.
set(BRAILLETRANSLATE_USER brailletranslatord)
set(BRAILLETRANSLATE_ENGINES "${CMAKE_INSTALL_LIBEXECDIR}/brailletranslatord")
