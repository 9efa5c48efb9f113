# The fuzzers of readers that need nothing but bytes, texts or small files. Each compares a reader with one of its own,
# which is not looked for new ways through it.
function(add_pure_fuzzer name)
  string(REPLACE - _ source ${name})
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;WRAP" ${ARGN})
  kv_zep_add_fuzzer(${name} SOURCES ${source}_fuzz.cpp pure_options.cpp ${arg_SOURCES}
    LIBRARIES ${arg_LIBRARIES} WRAP ${arg_WRAP})
  target_compile_options(fuzz-${name} PRIVATE -fno-sanitize=fuzzer-no-link)
endfunction()

add_pure_fuzzer(amt-message LIBRARIES kv-zep-amt-wire)
add_pure_fuzzer(amt-builder LIBRARIES kv-zep-amt-wire)
add_pure_fuzzer(pc-frame LIBRARIES kv-zep-amt-wire)
add_pure_fuzzer(at-data LIBRARIES kv-zep-amt-wire)
add_pure_fuzzer(software-version LIBRARIES kv-zep-amt-service WRAP property_get)
add_pure_fuzzer(usb-event LIBRARIES kv-zep-amt-service WRAP _Z23amt_end_usb_enumerationv)
add_pure_fuzzer(at-fields LIBRARIES kv-zep-amt-service WRAP _Z19amt_handle_send_rsphP10amt_buffer)
add_pure_fuzzer(log-record LIBRARIES kv-zep-pub)
add_pure_fuzzer(modem-value LIBRARIES kv-zep-amt-service
  WRAP _Z7read_atPcjPj _Z8write_atPKcj _Z19amt_handle_send_rsphP10amt_buffer)

# Those of files find them in memory, see pure_files.h.
set(pure_files_calls access mkdir open _Z17pub_util_sleep_msj _Z18pub_util_run_shellPKc)
function(add_pure_file_fuzzer name)
  add_pure_fuzzer(${name} SOURCES pure_files.cpp LIBRARIES kv-zep-amt-service WRAP ${pure_files_calls} ${ARGN})
endfunction()

add_pure_file_fuzzer(config)
add_pure_file_fuzzer(identity-files)
add_pure_file_fuzzer(log-file gettimeofday)
add_pure_file_fuzzer(nvram-patch)
add_pure_file_fuzzer(process-files statfs _Z14pub_util_printPKcz)
add_pure_file_fuzzer(test-result _Z14pub_util_printPKcz)
