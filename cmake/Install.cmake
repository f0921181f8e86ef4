# What an installation holds, in three components: `runtime` (the libraries), `development` (headers, CMake and
# pkg-config files) and `tool` (zeqcam-power). No installed file names the prefix: the tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(zeqcam_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeqcam_poweronoff)
set(zeqcam_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Each library is a component of the package by itself: whoever has another board needs ours not, and few simulate.
install(TARGETS zeqcam_poweronoff zeqcam_platform EXPORT zeqcam_poweronoff
  LIBRARY COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zeqcam_board EXPORT zeqcam_board
  LIBRARY COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zeqcam_simulation EXPORT zeqcam_simulation
  LIBRARY COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(zeqcam_libraries poweronoff board simulation)
if(TARGET zeqcam_views)
  list(APPEND zeqcam_libraries views)
  install(TARGETS zeqcam_views EXPORT zeqcam_views
    LIBRARY COMPONENT runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(DIRECTORY tools/show/include/zeqcam
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN *.h)
endif()
foreach(component IN LISTS zeqcam_libraries)
  install(EXPORT zeqcam_${component} NAMESPACE zeqcam:: FILE zeqcam_${component}-targets.cmake
    DESTINATION ${zeqcam_cmake_dir} COMPONENT development)
endforeach()

install(DIRECTORY include/zeqcam platform/include/zeqcam platform/board/include/zeqcam simulation/include/zeqcam
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN *.h)
install(FILES
  utils/hw/poweronoffcontroller/Hal3AListener.h
  utils/hw/poweronoffcontroller/PowerOnOffController.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zeqcam COMPONENT development)

configure_package_config_file(cmake/zeqcam_poweronoff-config.cmake.in zeqcam_poweronoff-config.cmake
  INSTALL_DESTINATION ${zeqcam_cmake_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zeqcam_poweronoff-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zeqcam_poweronoff-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/zeqcam_poweronoff-config-version.cmake
  DESTINATION ${zeqcam_cmake_dir} COMPONENT development)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
  OUTPUT_VARIABLE zeqcam_libdir)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
  OUTPUT_VARIABLE zeqcam_includedir)
file(RELATIVE_PATH zeqcam_prefix /prefix/${zeqcam_pkgconfig_dir} /prefix)
foreach(library IN LISTS zeqcam_libraries)
  configure_file(cmake/zeqcam-${library}.pc.in zeqcam-${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zeqcam-${library}.pc
    DESTINATION ${zeqcam_pkgconfig_dir} COMPONENT development)
endforeach()

install(FILES CHANGELOG.md docs/architecture.md docs/real-devices.md docs/results.md docs/scenario.md
  docs/simulation.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

if(TARGET zeqcam-power)
  set_target_properties(zeqcam_views PROPERTIES INSTALL_RPATH "$ORIGIN")
  # Finds its libraries wherever the tree stands.
  file(RELATIVE_PATH zeqcam_library_dir /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(zeqcam-power PROPERTIES INSTALL_RPATH "$ORIGIN/${zeqcam_library_dir}")
  install(TARGETS zeqcam-power RUNTIME COMPONENT tool)
  install(FILES docs/zeqcam-power.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES completions/zeqcam-power.bash RENAME zeqcam-power
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
  install(FILES completions/_zeqcam-power
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT tool)
  install(FILES completions/zeqcam-power.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
  install(FILES schemas/junit.xsd schemas/results.schema.json schemas/series.schema.json
    schemas/comparison.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zeqcam-power/schemas COMPONENT tool)
  install(DIRECTORY examples/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zeqcam-power/examples COMPONENT tool
    FILES_MATCHING PATTERN *.toml PATTERN *.pbtx PATTERN consumer EXCLUDE)
  install(FILES docs/scenario.schema.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zeqcam-power COMPONENT tool)
endif()
