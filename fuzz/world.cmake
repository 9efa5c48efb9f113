# The fuzzers that drive whole requests through the service's own readers, in a world of their own (world.h). What
# stands for the handset is not looked for new ways through it, and some of its calls come before the sanitizers are up.
add_library(kv-zep-fuzz-world OBJECT
  mutator.cpp
  script.cpp
  world.cpp
  world_calls.cpp
  world_choices.cpp
  world_files.cpp
  world_laws.cpp
  world_platform.cpp)
target_link_libraries(kv-zep-fuzz-world PRIVATE kv-zep-options PUBLIC kv-zep-amt-service)
target_compile_options(kv-zep-fuzz-world PRIVATE -fno-sanitize=all)

# Every request writes some ten records, whose numbers lead nowhere: they are watched, but not compared.
add_library(kv-zep-fuzz-log-record OBJECT ${PROJECT_SOURCE_DIR}/pub/log/log_record.cpp)
target_link_libraries(kv-zep-fuzz-log-record PRIVATE kv-zep-handset-options)
target_compile_options(kv-zep-fuzz-log-record PRIVATE -fno-sanitize-coverage=trace-cmp)

set(world_calls
  access clock_gettime close dlclose dlerror dlopen dlsym fcntl fdopen fork fstat ftruncate gettimeofday ioctl kill lseek
  mkdir open poll property_get property_set pwrite read select statfs tcgetattr tcsetattr unlink write
  hwt_btCheck hwt_btCtrl hwt_gpsCheck hwt_gpsCtrl hwt_RxTest hwt_TxTest hwt_wifiCheck hwt_wifiCtrl
  _Z12pub_pty_openP7pub_pty _Z13pub_pty_closeP7pub_pty _Z17pub_util_sleep_msj _Z22pub_util_sleep_secondsj
  _Z18platform_power_offv _Z18pub_util_run_shellPKc _Z22amt_handle_end_servicePSt6atomicImE)

foreach(target IN ITEMS station-request application-request modem-answer)
  string(REPLACE - _ source ${target})
  kv_zep_add_fuzzer(${target} SOURCES ${source}_fuzz.cpp
    LIBRARIES kv-zep-fuzz-world kv-zep-fuzz-log-record kv-zep-amt-service WRAP ${world_calls})
endforeach()
