# What a program that embeds the gateway finds in an installed tree beside the libraries: headers, the
# package for find_package(tarvik), tarvik.pc for pkg-config, pages and the example host. All of it
# goes by relative paths, so that the tree can be moved.
include(CMakePackageConfigHelpers)

set(includes ${CMAKE_INSTALL_INCLUDEDIR}/tarvik)
install(DIRECTORY host DESTINATION ${includes} FILES_MATCHING PATTERN "*.h")
install(FILES runtime/host.h DESTINATION ${includes}/runtime)

add_library(tarvik_headers INTERFACE)
target_include_directories(tarvik_headers INTERFACE $<INSTALL_INTERFACE:${includes}>)
set_target_properties(tarvik_headers PROPERTIES EXPORT_NAME headers)
install(TARGETS tarvik_headers EXPORT tarvik)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/tarvik)
install(EXPORT tarvik DESTINATION ${package} NAMESPACE tarvik:: FILE tarvikTargets.cmake)
set(plugin ${TARVIK_INSTALL_LIBDIR}/tarvik.so)
set(extended_plugin ${TARVIK_INSTALL_LIBDIR}/tarvik_extended.so)
configure_package_config_file(cmake/tarvikConfig.cmake.in ${PROJECT_BINARY_DIR}/tarvikConfig.cmake
  INSTALL_DESTINATION ${package} PATH_VARS plugin extended_plugin)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tarvikConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tarvikConfig.cmake
  ${PROJECT_BINARY_DIR}/tarvikConfigVersion.cmake DESTINATION ${package})

file(RELATIVE_PATH up_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" up_to_prefix "${up_to_prefix}")
configure_file(cmake/tarvik.pc.in ${PROJECT_BINARY_DIR}/tarvik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarvik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES docs/operations.md docs/hosting.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples/host DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
