# One target that carries the compiler settings every target of the project is built with.
add_library(FernwahrungWarnings INTERFACE)
target_compile_options(FernwahrungWarnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
  $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>)
if(FERNWAHRUNG_SANITIZE)
  target_compile_options(FernwahrungWarnings INTERFACE
    -fsanitize=${FERNWAHRUNG_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(FernwahrungWarnings INTERFACE -fsanitize=${FERNWAHRUNG_SANITIZE})
endif()
