# What goes where when the project is installed:
#
#     cmake --install build/release
#         the tools, their manual pages and completion, below /usr/local
#     cmake --install build/android --component handset --strip --prefix out/target/product/board
#         the service and what belongs to it, in the folders that the platform's build makes its images of
#
# The tool `handset` looks for what it puts into an emulated handset beside its own folder, in lib/kv-zep-amt.

install(TARGETS kv-zep-amt RUNTIME DESTINATION system/bin COMPONENT handset EXCLUDE_FROM_ALL)
install(FILES etc/kv-zep-amt.cfg DESTINATION system/etc COMPONENT handset EXCLUDE_FROM_ALL)
install(FILES etc/kv-zep-amt.rc DESTINATION root RENAME init.kv-zep-amt.rc COMPONENT handset EXCLUDE_FROM_ALL)

if(KV_ZEP_TOOLS)
  install(TARGETS amt-station handset RUNTIME DESTINATION bin COMPONENT tools)
  install(TARGETS kv-zep-amt amt-audio handset-init RUNTIME DESTINATION lib/kv-zep-amt/bin COMPONENT tools)
  install(TARGETS handset-preload platform-cutils platform-hwt platform-log platform-misc
          LIBRARY DESTINATION lib/kv-zep-amt/lib COMPONENT tools)
  install(FILES man/amt-station.1 man/handset.1 DESTINATION share/man/man1 COMPONENT tools)
  install(FILES completion/amt-station completion/handset
          DESTINATION share/bash-completion/completions COMPONENT tools)
  install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION share/doc/kv-zep-amt COMPONENT tools)
  install(DIRECTORY docs etc DESTINATION share/doc/kv-zep-amt COMPONENT tools)
endif()
