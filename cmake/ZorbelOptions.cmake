# Warnings and sanitizers shared by every target of the project.
add_library(zorbel_options INTERFACE)
target_compile_options(zorbel_options INTERFACE -Wall -Wextra -Werror)
# GCC 12 at -O3 reports std::string concatenation as overlapping memcpy (GCC bug
# 105651, a false positive inside libstdc++); keep it from failing optimised builds.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(zorbel_options INTERFACE -Wno-restrict)
endif()
if(ZORBEL_SANITIZE)
  target_compile_options(zorbel_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(zorbel_options INTERFACE -fsanitize=address,undefined)
endif()

# zorbel_library(<name> SOURCES ... [DEPS ...]): one of the three shared libraries,
# exported as zorbel::<name>, headers under <dir>/include.
function(zorbel_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} SHARED ${ARG_SOURCES})
  add_library(zorbel::${name} ALIAS ${name})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE zorbel_options ${ARG_PRIVATE_DEPS})
  # Installed libraries find each other beside themselves.
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    EXPORT_NAME ${name} INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} EXPORT zorbelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
