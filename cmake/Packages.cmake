# Debian packages, one for each component: `cpack` in the build folder makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zeqcam-poweronoff)
set(CPACK_PACKAGE_VENDOR "zeqcam")
set(CPACK_PACKAGE_CONTACT "zeqcam maintainers <maintainers@zeqcam.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET zeqcam-power)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzeqcam-poweronoff${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
  "sensor power sequencing, shared libraries\n The library that powers image sensors on and off, and the simulated board behind it.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzeqcam-poweronoff-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "sensor power sequencing, development files\n Headers, CMake package, pkg-config files and documentation.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zeqcam-power)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOL_DESCRIPTION
  "sensor power sequencing, scenario player\n Powers the image sensors of a simulated phone on and off, as a file tells.")

if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps finds nothing of another architecture's packages.
  set(zeqcam_debian_aarch64 arm64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${zeqcam_debian_${CMAKE_SYSTEM_PROCESSOR}})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
  string(APPEND CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ", libc6, libgcc-s1, libstdc++6")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()

include(CPack)
