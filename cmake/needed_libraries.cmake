# What the handset's loader will look for, read off the service as it has been linked. A library that does not tell its
# own name is put down by its path on this machine, and a static one not at all. Else it would show on the handset only:
# the service does not start, or runs with something that nobody updates.
#
#     cmake -P cmake/needed_libraries.cmake READELF SERVICE

set(of_a_handset libcutils.so liblog.so libhwt.so libz.so libdl.so libc.so)
set(with_the_cxx_library libm.so) # NDKs link it with all C++, and not each drops it again; a handset has it

execute_process(COMMAND ${CMAKE_ARGV3} -W -d ${CMAKE_ARGV4} OUTPUT_VARIABLE section COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "[" "<" section "${section}") # brackets hold the parts of a list together
string(REPLACE "]" ">" section "${section}")
string(REGEX MATCHALL "\\(NEEDED\\)[^\n]*" needed "${section}")
list(TRANSFORM needed REPLACE ".*<(.*)>.*" "\\1")

set(strange ${needed})
list(REMOVE_ITEM strange ${of_a_handset} ${with_the_cxx_library})
foreach(name ${strange})
  message(SEND_ERROR " the service needs ${name}, which no handset has by this name: if it is a copy without a name of "
    "its own (SONAME), put the platform build's into KV_ZEP_PLATFORM_LIBRARIES instead")
endforeach()

if(NOT strange)
  set(missing ${of_a_handset})
  list(REMOVE_ITEM missing ${needed})
  foreach(name ${missing})
    message(SEND_ERROR " the service does not need the handset's ${name}: a static library has been linked in instead")
  endforeach()
endif()
