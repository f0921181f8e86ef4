# What released libraries carry against a fault that gets past the tests: guarded stacks, checked C calls, relocations
# that are read-only once the library is loaded, no executable stack, and landing pads where the processor has them.
include(CheckCXXCompilerFlag)

add_library(zeqcam_hardening INTERFACE)
set(zeqcam_released $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
target_compile_options(zeqcam_hardening INTERFACE $<${zeqcam_released}:-fstack-protector-strong>)
# Sanitizers replace the calls that fortification would check.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_options(zeqcam_hardening INTERFACE $<${zeqcam_released}:-U_FORTIFY_SOURCE> $<${zeqcam_released}:-D_FORTIFY_SOURCE=2>)
endif()
target_link_options(zeqcam_hardening INTERFACE
  $<${zeqcam_released}:LINKER:-z,relro,-z,now,-z,noexecstack>)

foreach(protection -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "zeqcam_has${protection}" has)
  check_cxx_compiler_flag(${protection} ${has})
  if(${has})
    target_compile_options(zeqcam_hardening INTERFACE $<${zeqcam_released}:${protection}>)
  endif()
endforeach()
