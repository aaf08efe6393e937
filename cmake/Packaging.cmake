# Debian packages, one per install component (cpack -G DEB in a build configured with
# -DCMAKE_INSTALL_PREFIX=/usr, so that the libraries go to the multiarch directory):
#   libconfigstorec1     the library                                             (runtime)
#   libconfigstorec-dev  header, link, CMake and pkg-config files, configstorec(3)   (dev)
#   configstore-standin  the stand-in engine libconfigstore.so                       (standin)
#   csctl                the command-line tool, csctl(1), bash and zsh completion    (csctl)
# dpkg-shlibdeps finds the system libraries each one needs; the packages' links among
# themselves are stated here. The private library directories need CMake 3.20.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libconfigstorec)
set(CPACK_PACKAGE_VENDOR "libconfigstorec developers")
set(CPACK_PACKAGE_CONTACT "libconfigstorec developers <libconfigstorec@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev standin csctl)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/standin)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(exact_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libconfigstorec1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "configstore-standin ${exact_version}")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "C interface to the configuration store
libconfigstorec gives C programs the configuration store: objects named by key, group,
component and instance id, typed values, sub-objects, filter specs, transactions, import and
export. Every call goes to the store engine, libconfigstore.so.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libconfigstorec-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libconfigstorec1 ${exact_version}")
set(CPACK_COMPONENT_DEV_DESCRIPTION "C interface to the configuration store - development files
The header configstorec.h, the link to the library, its pkg-config file and CMake package
(configstorec::configstorec) and the manual page configstorec(3).")

set(CPACK_DEBIAN_STANDIN_PACKAGE_NAME configstore-standin)
set(CPACK_COMPONENT_STANDIN_DESCRIPTION "configuration store engine on SQLite
The stand-in engine libconfigstore.so keeps each namespace of the configuration store in an
SQLite database, checks objects against JSON schemas and serves libconfigstorec on hosts
without the platform's engine.")

set(CPACK_DEBIAN_CSCTL_PACKAGE_NAME csctl)
set(CPACK_DEBIAN_CSCTL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_CSCTL_PACKAGE_DEPENDS "libconfigstorec1 ${exact_version}")
set(CPACK_COMPONENT_CSCTL_DESCRIPTION "command-line tool for the configuration store
csctl reads, writes, lists, deletes, imports and exports objects of the configuration store.
Its bash and zsh completion offers the keys, groups and components the store holds.")

include(CPack)
