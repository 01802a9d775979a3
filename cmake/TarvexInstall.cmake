# What `cmake --install` puts where. A room that makes something for an installation calls one of these:
#
#   tarvex_install_program(TARGET)                   to bin
#   tarvex_install_script(FILE [NAME])               a program that is no target, to bin
#   tarvex_install_private(TARGET [FOLDER])          to the private folder, or to a folder in it
#   tarvex_install_man(PAGE...)                      NAME.SECTION, to share/man
#   tarvex_install_completion(SHELL FILE [NAME])     SHELL is bash, zsh or fish
#   tarvex_install_data(FOLDER FILE...)              to a folder of share/tarvex-diagnostics
#   tarvex_install_data_folder(FOLDER FROM [EXCEPT PATTERN...])   a whole folder, to the same place
#   tarvex_install_unit(FILE...)                     to systemd's units
#
# Files may be made by the build. The private folder, lib/tarvex-diagnostics, holds what only these
# programs load or start, laid out as build/<preset>/lib is. Programs find it from where they are, so
# an installed tree may be moved as a whole, and another one may lie beside it.
#
# What is written into programs and pages of a place in the installed tree is TARVEX_PRIVATE_DIR and
# TARVEX_DATA_DIR, from the prefix.

include(GNUInstallDirs)

set(TARVEX_PRIVATE_DIR "${CMAKE_INSTALL_LIBDIR}/tarvex-diagnostics")
set(TARVEX_DATA_DIR "${CMAKE_INSTALL_DATADIR}/tarvex-diagnostics")
# systemd reads units below its own prefix and below /usr/local alike.
set(TARVEX_UNIT_DIR "lib/systemd/system" CACHE STRING "Where units of systemd are installed")

# The way from a folder of the installation to the private one, for the dynamic linker. CMake's own
# exchange of the way when something is installed leaves colons behind the one in the build: empty
# ways, which the dynamic linker takes for the working folder, whoever that belongs to. So the build's
# way is made long enough for the other one to be written over it.
function(_tarvex_find_private target folder)
  cmake_path(RELATIVE_PATH TARVEX_PRIVATE_DIR BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE way)
  set(place "$ORIGIN/${way}")
  if(way STREQUAL ".")
    set(place "$ORIGIN")
  endif()
  get_target_property(built ${target} BUILD_RPATH)
  string(LENGTH "${place}" wanted)
  string(LENGTH "${built}" length)
  while(length LESS wanted)
    string(APPEND built "/.")
    string(LENGTH "${built}" length)
  endwhile()
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${built}" BUILD_WITH_INSTALL_RPATH ON)
  set(_tarvex_built "${built}" PARENT_SCOPE)
  set(_tarvex_place "${place}" PARENT_SCOPE)
endfunction()

function(_tarvex_exchange_way target folder)
  string(REPLACE "$" "\\$" built "${_tarvex_built}")
  string(REPLACE "$" "\\$" place "${_tarvex_place}")
  install(CODE "file(RPATH_CHANGE
    FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${folder}/$<TARGET_FILE_NAME:${target}>\"
    OLD_RPATH \"${built}\" NEW_RPATH \"${place}\")")
endfunction()

function(tarvex_install_program target)
  _tarvex_find_private(${target} "${CMAKE_INSTALL_BINDIR}")
  install(TARGETS ${target} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  _tarvex_exchange_way(${target} "${CMAKE_INSTALL_BINDIR}")
endfunction()

function(tarvex_install_script file)
  cmake_path(GET file FILENAME name)
  if(ARGN)
    set(name ${ARGN})
  endif()
  install(PROGRAMS "${file}" DESTINATION "${CMAKE_INSTALL_BINDIR}" RENAME "${name}")
endfunction()

function(tarvex_install_private target)
  set(folder "${TARVEX_PRIVATE_DIR}")
  if(ARGN)
    string(APPEND folder "/" ${ARGN})
  endif()
  _tarvex_find_private(${target} "${folder}")
  install(TARGETS ${target}
    RUNTIME DESTINATION "${folder}"
    LIBRARY DESTINATION "${folder}")
  _tarvex_exchange_way(${target} "${folder}")
endfunction()

function(tarvex_install_man)
  foreach(page IN LISTS ARGN)
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(SUBSTRING "${section}" 1 -1 section)
    install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${section}")
  endforeach()
endfunction()

set(_TARVEX_COMPLETIONS_bash "bash-completion/completions")
set(_TARVEX_COMPLETIONS_zsh "zsh/vendor-completions")
set(_TARVEX_COMPLETIONS_fish "fish/vendor_completions.d")

function(tarvex_install_completion shell file)
  if(NOT DEFINED _TARVEX_COMPLETIONS_${shell})
    message(FATAL_ERROR "no place for completions of ${shell}")
  endif()
  cmake_path(GET file FILENAME name)
  if(ARGN)
    set(name ${ARGN})
  endif()
  install(FILES "${file}" RENAME "${name}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/${_TARVEX_COMPLETIONS_${shell}}")
endfunction()

function(tarvex_install_data folder)
  install(FILES ${ARGN} DESTINATION "${TARVEX_DATA_DIR}/${folder}")
endfunction()

function(tarvex_install_data_folder folder from)
  cmake_parse_arguments(A "" "" "EXCEPT" ${ARGN})
  set(except PATTERN "__pycache__" EXCLUDE)
  foreach(pattern IN LISTS A_EXCEPT)
    list(APPEND except PATTERN "${pattern}" EXCLUDE)
  endforeach()
  # The slash at the end means what is in the folder, and not the folder.
  install(DIRECTORY "${from}/" DESTINATION "${TARVEX_DATA_DIR}/${folder}"
    USE_SOURCE_PERMISSIONS ${except})
endfunction()

function(tarvex_install_unit)
  install(FILES ${ARGN} DESTINATION "${TARVEX_UNIT_DIR}")
endfunction()
