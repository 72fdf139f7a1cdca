# One name per reader of foreign bytes: fuzz/NAME.cc with its seeds in fuzz/corpus/NAME/.
set(KELVO_FUZZERS
  bus_answers_fuzzer
  bus_arguments_fuzzer
  filename_filters_fuzzer
  keyed_archive_fuzzer
  list_text_fuzzer
  message_frame_fuzzer
  project_list_fuzzer
  property_list_binary_fuzzer
  property_list_xml_fuzzer
  public_links_fuzzer
  storage_xml_fuzzer
  string_tables_fuzzer
  web_answers_fuzzer
)

# Of the front ends, which are no part of the core, only what reads is built.
set(bus_answers_fuzzer_SOURCES
  hosts/client/badge_store.cc
  hosts/client/badge_store_descriptions.cc
  hosts/client/file_menu.cc
  hosts/client/item_descriptions.cc
  hosts/client/item_table.cc
  hosts/client/watched_directories.cc
)
set(bus_arguments_fuzzer_SOURCES
  hosts/bus/badge_table.cc
  hosts/bus/bus_paths.cc
  hosts/bus/client_slots.cc
  hosts/bus/description_news.cc
  hosts/bus/menu_variant.cc
  hosts/bus/told_items.cc
)
set(bus_arguments_fuzzer_LIBRARIES PkgConfig::GLIB)

# The program PROGRAM that runs the fuzzer NAME with the sources given.
function(kelvo_add_fuzz_program program name)
  list(TRANSFORM ${name}_SOURCES PREPEND ${CMAKE_SOURCE_DIR}/ OUTPUT_VARIABLE sources)
  add_executable(${program} ${CMAKE_SOURCE_DIR}/fuzz/${name}.cc
    ${CMAKE_SOURCE_DIR}/fuzz/log_to_nowhere.cc ${sources} ${ARGN})
  target_link_libraries(${program} PRIVATE kelvo_core ${${name}_LIBRARIES})
endfunction()
