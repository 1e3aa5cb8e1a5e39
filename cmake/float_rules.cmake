# Bits are the contract: a feature made today is compared with one made years ago.
#
# GCC contracts a * b + c into one fused operation by default, and Clang does within an expression;
# both would end on other bits as soon as the target has such an instruction. The option stands on
# every target, tests included, so that an oracle and the code round alike. Nothing here may ever
# add -ffast-math, -march=native or anything that flushes denormals.
if(MSVC)
  add_compile_options(/fp:strict)
else()
  add_compile_options(-ffp-contract=off)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86")
    # The x87 unit keeps wider intermediates.
    add_compile_options(-msse2 -mfpmath=sse)
  endif()
endif()
