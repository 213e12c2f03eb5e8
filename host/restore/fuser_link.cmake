# Forced unmounts run /sbin/fuser; Debian's package has it as /usr/bin/fuser. The link goes where /sbin leads on this
# machine, below DESTDIR; what is there already stays. An installation into a folder of one's own leaves the system's
# folders alone, unless the link is asked for.
if(NOT CMAKE_INSTALL_COMPONENT STREQUAL "fuser" AND NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?/?$")
  message(STATUS "Not installing: /sbin/fuser (cmake --install BUILD --component fuser)")
  return()
endif()
get_filename_component(folder /sbin REALPATH)
set(link "$ENV{DESTDIR}${folder}/fuser")
if(EXISTS "${link}" OR IS_SYMLINK "${link}")
  message(STATUS "Up-to-date: ${link}")
else()
  file(MAKE_DIRECTORY "$ENV{DESTDIR}${folder}")
  file(CREATE_LINK /usr/bin/fuser "${link}" SYMBOLIC)
  message(STATUS "Installing: ${link} -> /usr/bin/fuser")
endif()
