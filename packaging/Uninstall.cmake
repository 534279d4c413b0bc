# Usage: cmake -D NOTES=PATH -P Uninstall.cmake
#
# Removes the files of PATH-files.txt, and of the folders of PATH-folders.txt those that have
# nothing else in them.
if(NOT EXISTS "${NOTES}-files.txt")
  message(FATAL_ERROR "Nothing was installed: there is no ${NOTES}-files.txt")
endif()
file(STRINGS "${NOTES}-files.txt" files)
foreach(file IN LISTS files)
  file(REMOVE "${file}")
endforeach()

if(EXISTS "${NOTES}-folders.txt")
  file(STRINGS "${NOTES}-folders.txt" folders)
  list(REMOVE_DUPLICATES folders)
  # Those within others come first.
  list(SORT folders ORDER DESCENDING)
  foreach(folder IN LISTS folders)
    execute_process(COMMAND rmdir "${folder}" ERROR_QUIET)
  endforeach()
endif()
file(REMOVE "${NOTES}-files.txt" "${NOTES}-folders.txt")
