# The bundle kelvoFinderSync.appex, to be embedded into the Agent's application: docs/macos.md.
set(KELVO_SIGNING_IDENTITY "" CACHE STRING "Identity to sign kelvoFinderSync.appex with; - for this computer alone, empty for unsigned")
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/Info.plist.in ${CMAKE_CURRENT_BINARY_DIR}/Info.plist @ONLY)

# The rest lies in the library of the host, main in the platform.
add_executable(kelvoFinderSync MACOSX_BUNDLE services.cc)
set_target_properties(kelvoFinderSync PROPERTIES
  LINKER_LANGUAGE OBJCXX
  BUNDLE_EXTENSION appex
  XCODE_PRODUCT_TYPE com.apple.product-type.app-extension
  MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)
target_link_libraries(kelvoFinderSync PRIVATE kelvo_finder_host)
# -ObjC: the principal class is found by its name only.
target_link_options(kelvoFinderSync PRIVATE
  -fapplication-extension LINKER:-e,_NSExtensionMain LINKER:-ObjC)

set(contents "$<TARGET_BUNDLE_CONTENT_DIR:kelvoFinderSync>")
add_dependencies(kelvoFinderSync kelvo_resources)
# A changed text or picture makes the bundle anew, and its signature with it.
set_property(TARGET kelvoFinderSync APPEND PROPERTY LINK_DEPENDS ${kelvo_resource_files})
add_custom_command(TARGET kelvoFinderSync POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy_directory ${CMAKE_BINARY_DIR}/share/kelvo-finder-sync ${contents}/Resources
  # That of another system's dialogs.
  COMMAND ${CMAKE_COMMAND} -E rm -f ${contents}/Resources/ConfirmationDialog.ui
  VERBATIM)
if(KELVO_SIGNING_IDENTITY)
  add_custom_command(TARGET kelvoFinderSync POST_BUILD
    COMMAND codesign --force --options runtime --sign ${KELVO_SIGNING_IDENTITY}
            --entitlements ${CMAKE_CURRENT_SOURCE_DIR}/kelvoFinderSync.entitlements
            $<TARGET_BUNDLE_DIR:kelvoFinderSync>
    VERBATIM)
endif()
