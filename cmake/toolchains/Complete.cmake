# An archive gives the linker only what some other object asks for, so an undefined name could hide in the rest. This
# links every object of the core and of the helper's library, asked for or not.
get_property(rooms DIRECTORY ${CMAKE_SOURCE_DIR}/FernwahrungCore PROPERTY BUILDSYSTEM_TARGETS)
foreach(target ${rooms} FernwahrungHelper)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    list(APPEND objects $<TARGET_OBJECTS:${target}>)
  endif()
endforeach()
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/core-complete.cpp CONTENT "int main() {}\n")
add_executable(core-complete ${CMAKE_BINARY_DIR}/core-complete.cpp ${objects})
target_link_libraries(core-complete PRIVATE FernwahrungHelper)
