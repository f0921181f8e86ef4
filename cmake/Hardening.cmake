# What released libraries carry against a fault that gets past the tests: guarded stacks, checked C calls, relocations
# that are read-only once the library is loaded, no executable stack, and landing pads where the processor has them.
add_library(zeqcam_hardening INTERFACE)
set(zeqcam_released $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
target_compile_options(zeqcam_hardening INTERFACE $<${zeqcam_released}:-fstack-protector-strong>)
# Sanitizers replace the calls that fortification would check.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_options(zeqcam_hardening INTERFACE
    $<${zeqcam_released}:-U_FORTIFY_SOURCE> $<${zeqcam_released}:-D_FORTIFY_SOURCE=2>)
endif()
target_link_options(zeqcam_hardening INTERFACE
  $<${zeqcam_released}:LINKER:-z,relro,-z,now,-z,noexecstack>)

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(zeqcam_branch_protection -fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(zeqcam_branch_protection -mbranch-protection=standard)
endif()
target_compile_options(zeqcam_hardening INTERFACE $<${zeqcam_released}:${zeqcam_branch_protection}>)
