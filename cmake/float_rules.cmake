# Bits are the contract: a feature computed today is compared with one computed years ago.
#
# By default, GCC contracts a * b + c into one fused operation, and Clang does so within an
# expression. Both would change the bits on every target with such an instruction. All targets use
# the option, also tests, so that an oracle rounds like the code. Never add -ffast-math,
# -march=native or anything that flushes denormals.
if(MSVC)
  add_compile_options(/fp:strict)
else()
  add_compile_options(-ffp-contract=off)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86")
    # The x87 unit keeps wider intermediate results.
    add_compile_options(-msse2 -mfpmath=sse)
  endif()
endif()
