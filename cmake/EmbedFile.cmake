# Makes a file part of a program: zeqcam_embed(TARGET FILE...) gives the target's sources headers <embedded/NAME.h>
# that hold each file as namespace zeqcam::tool::embedded's constant kName, a constexpr std::string_view:
# "timeline.css" is <embedded/timeline.css.h> and kTimelineCss. The files are text in UTF-8 without NUL bytes.
if(CMAKE_SCRIPT_MODE_FILE)
  # As a script, while building: cmake -DINPUT=… -DOUTPUT=… -DNAME=… -P EmbedFile.cmake
  file(READ ${INPUT} text)
  file(WRITE ${OUTPUT} "#pragma once

#include <string_view>

namespace zeqcam::tool::embedded {
inline constexpr std::string_view ${NAME} = R\"embedded(${text})embedded\";
}
")
  return()
endif()

set(ZEQCAM_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(zeqcam_embed target)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target}-files)
  if(NOT TARGET zeqcam_embedded)
    add_custom_target(zeqcam_embedded)  # the headers alone, for who reads the sources
  endif()
  foreach(input IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH input)
    cmake_path(GET input FILENAME file)
    string(REGEX MATCHALL "[A-Za-z0-9]+" words ${file})
    set(name k)
    foreach(word IN LISTS words)
      string(SUBSTRING ${word} 0 1 first)
      string(SUBSTRING ${word} 1 -1 rest)
      string(TOUPPER ${first} first)
      string(APPEND name ${first}${rest})
    endforeach()
    set(output ${folder}/embedded/${file}.h)
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -DINPUT=${input} -DOUTPUT=${output} -DNAME=${name} -P ${ZEQCAM_EMBED_SCRIPT}
      DEPENDS ${input} ${ZEQCAM_EMBED_SCRIPT}
      VERBATIM)
    target_sources(${target} PRIVATE ${output})
    add_custom_target(${target}-${file} DEPENDS ${output})
    add_dependencies(zeqcam_embedded ${target}-${file})
  endforeach()
  # As a system header: clang is pedantic about long literals.
  target_include_directories(${target} SYSTEM PRIVATE ${folder})
endfunction()
