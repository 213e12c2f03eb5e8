# Warnings, hardening and reproducibility, in one interface target that every target of ours links.
add_library(tarn_compile INTERFACE)

target_compile_options(tarn_compile INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wcast-qual -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wextra-semi>
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique -Wduplicated-cond -Wlogical-op>
  -fstack-protector-strong -fcf-protection=full -fno-omit-frame-pointer
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=build/)
# Fortification needs optimisation and is replaced by the sanitizers where they run.
if(NOT TARNFI_SANITIZE)
  target_compile_options(tarn_compile INTERFACE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>)
endif()
# Lets a compiler cache see through precompiled headers.
target_compile_options(tarn_compile INTERFACE
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess> "$<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>")
target_link_options(tarn_compile INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)

# "address,undefined", "thread" or empty: for the whole tree, tests included.
set(TARNFI_SANITIZE "" CACHE STRING "sanitizers of the whole tree")
if(TARNFI_SANITIZE)
  add_compile_options(-fsanitize=${TARNFI_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TARNFI_SANITIZE})
else()
  # A sanitized library leaves its runtime's symbols to the program; every other one must be complete.
  target_link_options(tarn_compile INTERFACE LINKER:-z,defs)
endif()
if(TARNFI_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
