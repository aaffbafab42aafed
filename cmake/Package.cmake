# Debian packages, one for each component of Install.cmake; scripts/package makes them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zentho-cali)
set(CPACK_PACKAGE_VENDOR "zentho-cali maintainers")
set(CPACK_PACKAGE_CONTACT "zentho-cali maintainers <maintainers@zentho.example>")
# CPack would put any other summary before that of each package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL commands library development)
if(TARGET zentho-cali-unpack)
    list(APPEND CPACK_COMPONENTS_ALL sources)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish.cmake)

set(library_package libzentho-cali${PROJECT_VERSION_MAJOR})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${ZENTHO_DOCUMENTATION_URL})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE zentho-cali)

set(CPACK_DEBIAN_COMMANDS_PACKAGE_NAME zentho-cali)
set(CPACK_DEBIAN_COMMANDS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMANDS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMANDS_PACKAGE_DEPENDS "coreutils, findutils, net-tools, wget")
set(CPACK_DEBIAN_COMMANDS_PACKAGE_SUGGESTS zentho-cali-sources)
set(CPACK_DEBIAN_COMMANDS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/commands/postrm)
set(CPACK_DEBIAN_COMMANDS_DESCRIPTION
"installer of an infrared camera's calibration files
Installs a camera's set of calibration files from a USB stick or any other
directory tree to where the camera library reads it: whole or not at all, and
completed after a power cut. The command zentho-cali also checks, compares,
lists, removes and downloads sets, tells what a camera is calibrated for, and
writes camera configurations.

The command zentho-cali-install finds the camera on the USB bus, or takes the
serial number it is given, copies the camera's files, and checks that the set
is complete, for those who rely on it.")

set(CPACK_DEBIAN_SOURCES_PACKAGE_NAME zentho-cali-sources)
set(CPACK_DEBIAN_SOURCES_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SOURCES_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_SOURCES_PACKAGE_ENHANCES "zentho-cali, ${library_package}")
set(CPACK_DEBIAN_SOURCES_DESCRIPTION
"calibration files of an infrared camera - more sources
Lets the command zentho-cali take sets of calibration files from archives: zip,
7z, and tar, also compressed. The program that reads them is confined before it
starts, so that it can read nothing but the archive, and write nothing.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "coreutils, findutils")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/library/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "net-tools, wget")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"calibration files of an infrared camera - shared libraries
Finds a camera, copies, checks and downloads its set of calibration files,
lists its optics, writes camera configurations and reads calibration
descriptions. A second library installs and removes sets whole or not at all.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzentho-cali-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${library_package} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"calibration files of an infrared camera - development files
Finds a camera, copies, checks and downloads its set of calibration files,
lists its optics, writes camera configurations and reads calibration
descriptions. A second library installs and removes sets whole or not at all.

With the headers comes what CMake and pkg-config need to find the libraries.")

include(CPack)
