# One name per parser of foreign bytes: fuzz/NAME.cc with its seeds in fuzz/corpus/NAME/.
set(KELVO_FUZZERS
  keyed_archive_fuzzer
  list_text_fuzzer
  message_frame_fuzzer
  project_list_fuzzer
  property_list_binary_fuzzer
  property_list_xml_fuzzer
)
