# The target `docs`: the public headers' contracts as pages. A declaration without one fails it.
find_program(DOXYGEN_EXECUTABLE doxygen)
mark_as_advanced(DOXYGEN_EXECUTABLE)
if(DOXYGEN_EXECUTABLE)
  configure_file(docs/Doxyfile.in Doxyfile @ONLY)
  add_custom_target(docs COMMAND ${DOXYGEN_EXECUTABLE} Doxyfile VERBATIM)
endif()
