# Warnings are errors with every compiler. A log statement whose values do not fit its format must not compile,
# so -Werror=format stands whatever else is set. An aggregate that names only the members it changes is how the board is
# set up: it is no fault.
set(zeqcam_warning_flags
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-qual -Wformat=2 -Wno-format-nonliteral -Wundef -Wmissing-declarations
  -Wno-missing-field-initializers -Werror -Werror=format)
add_library(zeqcam_warnings INTERFACE)
target_compile_options(zeqcam_warnings INTERFACE ${zeqcam_warning_flags})
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(zeqcam_warnings INTERFACE -Wthread-safety)
  if(ZEQCAM_UNITY)
    target_compile_options(zeqcam_warnings INTERFACE -Wno-shadow)
  endif()
else()
  target_compile_options(zeqcam_warnings INTERFACE -Wlogical-op)
  if(ZEQCAM_UNITY)
    # Of several sources at a time: what one says is no shadow over another's, and theirs is no header.
    target_compile_options(zeqcam_warnings INTERFACE -Wno-shadow -Wno-subobject-linkage)
  endif()
endif()
