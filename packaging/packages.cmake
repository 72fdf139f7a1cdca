# The .deb packages: one for each component of the install() lines. scripts/package builds them.
#
# No package has a maintainer script: the bus starts the extension when it is asked for, so there is
# nothing to enable, and what a user has masked or switched off stays so. Icon caches and manual page
# indices are brought up to date by the triggers of the packages that own them.

# The first line of the change log names the version and the package's own revision.
set(changelog "${CMAKE_CURRENT_LIST_DIR}/deb/changelog")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${changelog}")
file(STRINGS "${changelog}" newest LIMIT_COUNT 1)
string(REPLACE "." "\\." version_pattern "${PROJECT_VERSION}")
if(NOT newest MATCHES "\\(${version_pattern}-([0-9.]+)\\)")
  message(FATAL_ERROR "packaging/deb/changelog does not begin with version ${PROJECT_VERSION}: ${newest}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE "${CMAKE_MATCH_1}")

file(READ "${CMAKE_SOURCE_DIR}/LICENSE" license)
string(REGEX MATCH "Copyright [^\n]*" copyright_line "${license}")
string(REGEX REPLACE "^.*${copyright_line}\n\n" "" license "${license}")
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REGEX REPLACE "\n(.)" "\n \\1" license " ${license}")
string(REGEX REPLACE "^Copyright \\(c\\) " "" copyright_line "${copyright_line}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/deb/copyright.in" copyright @ONLY)

# kelvo_package(<component> <package> <section> <description>): the description's first line is the
# synopsis. What dpkg-shlibdeps finds is added to the dependencies.
macro(kelvo_package component package section description)
  string(TOUPPER ${component} id)
  set(CPACK_DEBIAN_${id}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${id}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${id}_DESCRIPTION "${description}")
  set(CPACK_DEBIAN_${id}_PACKAGE_SHLIBDEPS ON)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/copyright"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component})
  kelvo_install_compressed("${changelog}"
    "${CMAKE_INSTALL_DATADIR}/doc/${package}" changelog.Debian.gz ${component})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
endmacro()

# kelvo_plugin_package(<component> <program> <name> <section>): of a file manager whose plug-in is
# built; the others are left out.
macro(kelvo_plugin_package component program name section)
  if(${component} IN_LIST kelvo_components)
    kelvo_package(${component} kelvo-finder-sync-${component} ${section}
"Kelvo badges and menus in ${name}
This plug-in shows in ${name} what the Kelvo Agent knows about each file
and folder: in sync, syncing, locked by somebody else, locked by you, unlock
pending, permission violation. It adds the Agent's entries to the context
menu.
.
It asks the extension of the package kelvo-finder-sync and never holds the
file manager up. A file manager that runs already loads it at its next start.")
    set(CPACK_DEBIAN_${id}_PACKAGE_DEPENDS "kelvo-finder-sync (= ${kelvo_package_version})")
    set(CPACK_DEBIAN_${id}_PACKAGE_ENHANCES ${program})
    list(APPEND kelvo_plugin_components ${component})
  endif()
endmacro()

get_cmake_property(kelvo_components COMPONENTS)
if("Unspecified" IN_LIST kelvo_components)
  message(FATAL_ERROR "Some install() has no COMPONENT: what it installs would be in no package")
endif()
set(kelvo_package_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(kelvo_plugin_components "")
set(CPACK_COMPONENTS_ALL "")

# Nothing here needs the file manager itself: whoever has none of that name loses nothing.
kelvo_plugin_package(nemo nemo Nemo x11)
kelvo_plugin_package(nautilus nautilus Nautilus gnome)
kelvo_plugin_package(caja caja Caja x11)
kelvo_plugin_package(dolphin dolphin Dolphin kde)
# Without what reads SVG for Qt no badge is drawn. Dolphin takes overlays from Breeze alone or from a
# theme that looks further, as Breeze does.
string(APPEND CPACK_DEBIAN_DOLPHIN_PACKAGE_DEPENDS ", libqt5svg5")
set(CPACK_DEBIAN_DOLPHIN_PACKAGE_RECOMMENDS breeze-icon-theme)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}/lib/dolphin-plugins")

kelvo_package(core kelvo-finder-sync utils
"badges and menus for files of the Kelvo Agent
Shows in the file manager what the Kelvo Agent, a client for synchronised
files, knows about each file and folder: in sync, syncing, locked by somebody
else, locked by you, unlock pending, permission violation. The context menu
opens files on the web, copies links to them, locks and unlocks them.
.
This package holds the extension that the session bus starts, its dialogs, its
icons, and kelvo-finder, which tells the same in a terminal. The packages
kelvo-finder-sync-* hold a plug-in for each file manager.")
# What no linker sees. The secret store holds the key to the web: without one, and without the
# certificates, badges and locks work all the same, and the web does not.
string(JOIN ", " CPACK_DEBIAN_CORE_PACKAGE_DEPENDS
  "default-dbus-session-bus | dbus-session-bus"
  glib-networking
  hicolor-icon-theme
  librsvg2-common)
# One package is enough for users of the GTK file managers: beside what the dialog needs, their
# plug-ins bring GTK 3 and one small library each. Dolphin's brings the libraries of KDE, 150 packages
# where there are none; it depends on this one, hence is all that users of Dolphin ask for.
string(JOIN ", " CPACK_DEBIAN_CORE_PACKAGE_RECOMMENDS
  ca-certificates
  "gnome-keyring | keepassxc | org.freedesktop.secrets")
set(CPACK_DEBIAN_CORE_PACKAGE_SUGGESTS notification-daemon)
foreach(component IN LISTS kelvo_plugin_components)
  set(relation RECOMMENDS)
  if(component STREQUAL "dolphin")
    set(relation SUGGESTS)
  endif()
  string(APPEND CPACK_DEBIAN_CORE_PACKAGE_${relation} ", kelvo-finder-sync-${component}")
endforeach()

kelvo_package(tools kelvo-finder-sync-tools devel
"sample Agent for Kelvo Finder Sync
kelvo-sample-agent takes the place of the Kelvo Agent over a folder of sample
files: it answers the extension, and a prompt or a scenario file says which
file is in sync, locked or denied.
.
It is for those who write an Agent or try the extension. Who has the Kelvo
Agent needs it not: there is one Agent for a user.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_ENHANCES kelvo-finder-sync)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KELVO_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE kelvo-finder-sync)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://${KELVO_DEFAULT_WEB_SERVER}/")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has a synopsis of its own
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_ERROR_ON_ABSOLUTE_INSTALL_DESTINATION ON)
include(CPack)
