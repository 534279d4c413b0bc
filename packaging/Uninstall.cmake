# Usage: cmake -D BUILD=FOLDER -P Uninstall.cmake
#
# Removes the files that were installed from that build folder, whichever components they are of,
# and the folders that were made for them and have nothing else in them. DESTDIR must be what it
# was at the installation.
file(GLOB manifests "${BUILD}/install_manifest*.txt")
if(NOT manifests)
  message(FATAL_ERROR "Nothing was installed from ${BUILD}; run: cmake --install ${BUILD}")
endif()
foreach(manifest IN LISTS manifests)
  file(STRINGS "${manifest}" files)
  list(TRANSFORM files PREPEND "$ENV{DESTDIR}")
  file(REMOVE ${files})
endforeach()

set(note "${BUILD}/install_folders.txt")
if(EXISTS "${note}")
  file(STRINGS "${note}" folders)
  list(REMOVE_DUPLICATES folders)
  # Those within others come first.
  list(SORT folders ORDER DESCENDING)
  foreach(folder IN LISTS folders)
    file(GLOB contents "${folder}/*" "${folder}/.*")
    if(IS_DIRECTORY "${folder}" AND NOT contents)
      file(REMOVE_RECURSE "${folder}")
    endif()
  endforeach()
endif()
file(REMOVE ${manifests} "${note}")
