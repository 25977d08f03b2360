# `cpack` makes a Debian package of each component. Configure with -DCMAKE_INSTALL_PREFIX=/usr for
# the library directory that Debian looks in; scripts/try-packages.sh shows it.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Sprig maintainers <maintainers@sprig.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/shrink.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/runtime)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# describe_package(COMPONENT NAME SECTION SUMMARY MORE)
function(describe_package component name section summary more)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} PARENT_SCOPE)
  string(TOUPPER ${component} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${component}_DESCRIPTION "${summary}\n${more}" PARENT_SCOPE)
endfunction()

describe_package(library libsprig${PROJECT_VERSION_MAJOR} libs
  "client side of a software-distribution service"
  "The library that methods of the service load: streams that receive a distribution's data,\
 property lists, records, and the depot, a cache that several processes share.\
 It runs in a framework; libsprig-runtime${PROJECT_VERSION_MAJOR} provides one.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS libsprig-runtime${PROJECT_VERSION_MAJOR})

describe_package(runtime libsprig-runtime${PROJECT_VERSION_MAJOR} libs
  "framework runtime for libsprig, with its message catalog"
  "What libsprig requires of the framework that it runs in: values with their types and\
 encoding, exceptions, translated messages, the log, configuration, and the channel to the sender.")

describe_package(development libsprig-dev libdevel
  "development files of libsprig and its runtime"
  "Headers for C and C++, static libraries, and the files for CMake and pkg-config.")
set(own_libraries
  "libsprig${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libsprig-runtime${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${own_libraries}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkg-config")

if(TARGET sprig-tool)
  describe_package(tools sprig utils
    "packs, serves and receives distributions, and keeps them in a depot"
    "The command line tool, with its manual pages and the completion for bash.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${own_libraries}")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS bash-completion)
endif()

include(CPack)
