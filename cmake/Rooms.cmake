# A room is a folder of the core library and a static library of its own, so that a room that
# reaches upwards does not link. Every source file of the folder belongs to it.
function(fernwahrung_room name)
  cmake_parse_arguments(ROOM "" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp)
  add_library(Core${name} STATIC ${sources})
  target_include_directories(Core${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(Core${name} PUBLIC ${ROOM_LINK} PRIVATE FernwahrungWarnings)
endfunction()
