# Builds the library as Soong would: its defaults first, then what Android.bp says. Whatever the defaults turn off and the
# library needs, the file must turn on.
#   cmake -DROOT=FOLDER -DCLANG=COMPILER -DARCH=NAME -DOUTPUT=FILE -P …
include(${CMAKE_CURRENT_LIST_DIR}/ReadSoong.cmake)
set(module libzeqcam_poweronoff)

set(soong_cflags
  -DANDROID -fmessage-length=0 -ffunction-sections -fdata-sections -fno-short-enums -funwind-tables
  -fstack-protector-strong -D_FORTIFY_SOURCE=2 -O2 -g -fPIC
  -Wall -Wextra -Winit-self -Wpointer-arith -Wstrict-aliasing=2
  -Werror=address -Werror=date-time -Werror=format-security -Werror=non-virtual-dtor -Werror=pragma-pack
  -Werror=return-type -Werror=sequence-point -Werror=string-plus-int -Werror=unreachable-code-loop-increment)
set(soong_cppflags
  -std=gnu++17 -fno-exceptions -fno-rtti -fvisibility-inlines-hidden -Wsign-promo -Wimplicit-fallthrough)
set(soong_ldflags
  -Wl,-z,noexecstack -Wl,-z,relro -Wl,-z,now -Wl,--build-id=md5 -Wl,--fatal-warnings -Wl,--gc-sections
  -Wl,--no-undefined-version -Wl,--hash-style=gnu -Wl,-soname,${module}.so)
# No module can undo these.
set(soong_last_cflags
  -Werror=bool-operation -Werror=implicit-int-float-conversion -Werror=int-in-bool-context
  -Werror=int-to-pointer-cast -Werror=pointer-to-int-cast -Werror=fortify-source -Werror=xor-used-as-pow)

soong_values(modules ${module} "" defaults)
list(APPEND modules ${module})
foreach(part IN LISTS modules)
  foreach(property cflags cppflags ldflags cpp_std rtti allow_undefined_symbols
                   srcs local_include_dirs export_include_dirs version_script)
    soong_values(values ${part} "" ${property})
    list(APPEND ${property} ${values})
  endforeach()
endforeach()
soong_values(arch_cflags zeqcam_hardening_defaults ${ARCH} cflags)
list(TRANSFORM cpp_std PREPEND -std=)
list(TRANSFORM rtti REPLACE "^true$" -frtti)
list(TRANSFORM version_script PREPEND -Wl,--version-script=)
list(TRANSFORM local_include_dirs PREPEND -I)
list(TRANSFORM export_include_dirs PREPEND -I)
if(NOT allow_undefined_symbols)
  list(APPEND soong_ldflags -Wl,--no-undefined)
endif()

execute_process(
  COMMAND ${CLANG} -stdlib=libc++ ${soong_cflags} ${soong_cppflags} ${cflags} ${arch_cflags} ${cpp_std} ${cppflags}
          ${rtti} ${local_include_dirs} ${export_include_dirs} ${soong_last_cflags}
          -shared ${soong_ldflags} ${ldflags} ${version_script} ${srcs} -o ${OUTPUT}
  WORKING_DIRECTORY ${ROOT} COMMAND_ERROR_IS_FATAL ANY)
