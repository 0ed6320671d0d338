# Installing and packaging: `cmake --install` puts the program, the module,
# the host library, their headers, a CMake package (find_package(Discrete):
# Discrete::Discrete, Discrete::host, Discrete::discrete) and a pkg-config file
# (discrete.pc) under the prefix; CPack builds a Debian package of the same
# files (cpack -G DEB in the build folder).
#
# Everything installed finds everything else by paths relative to itself, so
# the tree works wherever it is copied, after DESTDIR staging, and from the
# Debian package: the program's run path is $ORIGIN/<bin to lib>, through
# which it also finds the module it loads with dlopen
# (runner/search/DiscreteModule.h); the module's is $ORIGIN; discrete.pc
# finds the prefix from its own folder.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(DISCRETE_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Discrete)
set(DISCRETE_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
# Headers go to include/discrete/, one folder: hosts write <discrete/Records.h>.
set(DISCRETE_INSTALL_HEADERDIR ${CMAKE_INSTALL_INCLUDEDIR}/discrete)

# Both libraries have a C++ interface, whose ABI the major version names.
set_target_properties(Discrete discrete_host PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})
set_target_properties(discrete_host PROPERTIES EXPORT_NAME host)
set_target_properties(discrete_host_headers PROPERTIES EXPORT_NAME host_headers)
target_include_directories(discrete_host_headers INTERFACE
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

file(RELATIVE_PATH DISCRETE_LIB_FROM_BIN ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(discrete PROPERTIES INSTALL_RPATH "$ORIGIN/${DISCRETE_LIB_FROM_BIN}")
set_target_properties(Discrete PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS discrete Discrete discrete_host discrete_host_headers
  EXPORT DiscreteTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# What a host includes: the module's entry points and exceptions (Discrete.h
# and what it includes), the host interfaces (host/), and of the host
# library's own headers those that open and close the task database.
install(FILES
  ${PROJECT_SOURCE_DIR}/src/Discrete.h
  ${PROJECT_SOURCE_DIR}/src/DiscreteExport.h
  ${PROJECT_SOURCE_DIR}/src/DiscreteNode.h
  ${PROJECT_SOURCE_DIR}/host/DBCtrl.h
  ${PROJECT_SOURCE_DIR}/host/DebugUtil.h
  ${PROJECT_SOURCE_DIR}/host/DesignRecords.h
  ${PROJECT_SOURCE_DIR}/host/Lock.h
  ${PROJECT_SOURCE_DIR}/host/LogFile.h
  ${PROJECT_SOURCE_DIR}/host/POD.h
  ${PROJECT_SOURCE_DIR}/host/Persistent.h
  ${PROJECT_SOURCE_DIR}/host/PersistentValues.h
  ${PROJECT_SOURCE_DIR}/host/Records.h
  ${PROJECT_SOURCE_DIR}/host/TaskRecords.h
  ${PROJECT_SOURCE_DIR}/host/Timing.h
  ${PROJECT_SOURCE_DIR}/hostlib/DatabaseError.h
  ${PROJECT_SOURCE_DIR}/hostlib/TaskDatabase.h
  ${PROJECT_SOURCE_DIR}/hostlib/TaskDatabaseAccess.h
  DESTINATION ${DISCRETE_INSTALL_HEADERDIR})

install(EXPORT DiscreteTargets
  NAMESPACE Discrete::
  DESTINATION ${DISCRETE_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/DiscreteConfig.cmake.in
  ${PROJECT_BINARY_DIR}/DiscreteConfig.cmake
  INSTALL_DESTINATION ${DISCRETE_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DiscreteConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/DiscreteConfig.cmake
  ${PROJECT_BINARY_DIR}/DiscreteConfigVersion.cmake
  DESTINATION ${DISCRETE_INSTALL_CMAKEDIR})

file(RELATIVE_PATH DISCRETE_PREFIX_FROM_PKGCONFIG
  ${CMAKE_INSTALL_PREFIX}/${DISCRETE_INSTALL_PKGCONFIGDIR} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" DISCRETE_PREFIX_FROM_PKGCONFIG ${DISCRETE_PREFIX_FROM_PKGCONFIG})
configure_file(${CMAKE_CURRENT_LIST_DIR}/discrete.pc.in ${PROJECT_BINARY_DIR}/discrete.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/discrete.pc DESTINATION ${DISCRETE_INSTALL_PKGCONFIGDIR})

# The Debian package: one package with the program, the libraries and what a
# host builds against; its dependencies are found by dpkg-shlibdeps from the
# libraries the binaries link (Debian's dpkg-dev).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME discrete)
set(CPACK_PACKAGE_VENDOR "Discrete developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "mixed-discrete branch-and-bound optimisation: program, module and host library")
set(CPACK_PACKAGE_DESCRIPTION
  "Discrete runs a best-first branch-and-bound search over integer and discrete-set design
variables; every node is a continuous subtask in a SQLite task database. The package
holds the program discrete, the module libDiscrete.so, the host library
libdiscrete_host.so and the headers, CMake package and pkg-config file to embed them.")
set(CPACK_PACKAGE_CONTACT "Discrete developers <discrete@localhost>" CACHE STRING
  "Maintainer of the Debian package")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The package's own libraries are no outside dependency.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_INSTALL_LIBDIR})
set(CPACK_DEBIAN_COMPRESSION_TYPE gzip)
include(CPack)
