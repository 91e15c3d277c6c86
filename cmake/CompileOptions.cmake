# Warnings, floating-point rules and sanitizers: one interface target that all own code links.
add_library(lumo_options INTERFACE)
target_compile_options(lumo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wformat=2 -Wimplicit-fallthrough
  # Results are the same on every machine: no fused operation unless std::fma says so.
  -ffp-contract=off
  # Nobody looks at floating-point exception flags; GCC could not vectorise a choice between values.
  -fno-trapping-math)
if(LUMO_WARNINGS_AS_ERRORS)
  target_compile_options(lumo_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Unique symbols would keep the library in memory after dlclose().
  target_compile_options(lumo_options INTERFACE -fno-gnu-unique)
endif()
# GCC 12 at -O3 sees strings and vectors overflow that the tests build up; there is no such thing.
set(lumo_no_false_warnings
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread>)
if(LUMO_SANITIZE)
  set(sanitize -fsanitize=${LUMO_SANITIZE} -fno-omit-frame-pointer)
  if(LUMO_SANITIZE MATCHES "undefined")
    list(APPEND sanitize -fsanitize=float-cast-overflow -fno-sanitize-recover=all)
  endif()
  target_compile_options(lumo_options INTERFACE ${sanitize})
  target_compile_definitions(lumo_options INTERFACE LUMO_SANITIZED)
  target_link_options(lumo_options INTERFACE ${sanitize})
endif()
