# Compares what Android.bp says with what CMake does: cmake -DROOT=FOLDER -DMODULE=NAME "-DPROPERTIES=srcs;…"
# "-DEXPECTED=a;b" [-DARCH=NAME] -P … Order does not matter; the values of several properties count together.
include(${CMAKE_CURRENT_LIST_DIR}/ReadSoong.cmake)
soong_values(found ${MODULE} "${ARCH}" ${PROPERTIES})

list(REMOVE_ITEM EXPECTED "")
list(REMOVE_DUPLICATES EXPECTED)
list(TRANSFORM EXPECTED REPLACE "^${ROOT}$" ".")
list(TRANSFORM EXPECTED REPLACE "^(-Wl,--version-script=)?${ROOT}/" "")
list(TRANSFORM EXPECTED REPLACE "^LINKER:" "-Wl,")
if(NOT EXPECTED)
  message(FATAL_ERROR "CMake has nothing to compare ${PROPERTIES} of ${MODULE} with")
endif()

list(SORT found)
list(SORT EXPECTED)
if(NOT found STREQUAL EXPECTED)
  set(lacking ${EXPECTED})
  if(found)
    list(REMOVE_ITEM lacking ${found})
    list(REMOVE_ITEM found ${EXPECTED})
  endif()
  message(FATAL_ERROR "Android.bp: ${PROPERTIES} of ${MODULE} ${ARCH}: lacks [${lacking}]; has besides [${found}]")
endif()
