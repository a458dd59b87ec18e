# fernwahrung_frameworks(TARGET FILE FRAMEWORK …): says which of the Mac's frameworks an Objective-C++ file calls, and
# compiles it with automatic reference counting.
function(fernwahrung_frameworks target file)
  set_source_files_properties(${CMAKE_CURRENT_SOURCE_DIR}/${file} PROPERTIES COMPILE_OPTIONS "-fobjc-arc;-fblocks")
  list(TRANSFORM ARGN PREPEND "-framework ")
  target_link_libraries(${target} PUBLIC ${ARGN} -lobjc)
endfunction()
