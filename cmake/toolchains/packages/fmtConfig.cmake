add_library(fmt::fmt INTERFACE IMPORTED)
target_include_directories(fmt::fmt INTERFACE ${FERNWAHRUNG_CROSS}/include)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY=1)
