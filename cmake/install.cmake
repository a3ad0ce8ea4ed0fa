# What `cmake --install` puts in place and the Debian package carries: the
# shared library with its SONAME links, the public header, a CMake package
# (imported target itscodec::itscodec) and a pkg-config file. The converter
# and its manual page are installed by tools/CMakeLists.txt. Every path is
# relative to the prefix, so one build installs anywhere
# (`cmake --install build --prefix DIR`).
include(CMakePackageConfigHelpers)

# The public header states the version too; it must be this one.
set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${CMAKE_SOURCE_DIR}/api/itscodec.h)
file(STRINGS ${CMAKE_SOURCE_DIR}/api/itscodec.h VX_HEADER_VERSION
     REGEX "^#define ITSCODEC_VERSION_(MAJOR|MINOR|PATCH) ")
string(REGEX REPLACE "[^;]*_MAJOR ([0-9]+);[^;]*_MINOR ([0-9]+);[^;]*_PATCH ([0-9]+)"
       "\\1.\\2.\\3" VX_HEADER_VERSION "${VX_HEADER_VERSION}")
if(NOT VX_HEADER_VERSION STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "api/itscodec.h states version '${VX_HEADER_VERSION}', the project "
                      "${PROJECT_VERSION}: set its ITSCODEC_VERSION_* macros to match")
endif()

# So does the Python package, twice (its metadata and its __version__).
foreach(file python/pyproject.toml python/itscodec/__init__.py)
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
               ${CMAKE_SOURCE_DIR}/${file})
  file(STRINGS ${CMAKE_SOURCE_DIR}/${file} VX_PYTHON_VERSION REGEX "^(__)?version(__)? = ")
  if(NOT VX_PYTHON_VERSION MATCHES "\"${PROJECT_VERSION}\"$")
    message(FATAL_ERROR "${file} states '${VX_PYTHON_VERSION}', the project "
                        "${PROJECT_VERSION}: make them the same")
  endif()
endforeach()

install(TARGETS itscodec EXPORT itscodecTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${CMAKE_SOURCE_DIR}/api/itscodec.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(VX_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/itscodec)
install(EXPORT itscodecTargets NAMESPACE itscodec:: DESTINATION ${VX_CMAKE_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/itscodecConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/itscodecConfig.cmake
                              INSTALL_DESTINATION ${VX_CMAKE_PACKAGE_DIR})
# The soname changes with the major version, and so does compatibility.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/itscodecConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/itscodecConfig.cmake
              ${CMAKE_BINARY_DIR}/itscodecConfigVersion.cmake
        DESTINATION ${VX_CMAKE_PACKAGE_DIR})

# pkg-config finds the prefix from where the file lies (${pcfiledir}).
set(VX_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VX_PKGCONFIG_TO_PREFIX /prefix/${VX_PKGCONFIG_DIR} /prefix)
string(REGEX REPLACE "/$" "" VX_PKGCONFIG_TO_PREFIX "${VX_PKGCONFIG_TO_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/itscodec.pc.in ${CMAKE_BINARY_DIR}/itscodec.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/itscodec.pc DESTINATION ${VX_PKGCONFIG_DIR})

install(FILES ${CMAKE_SOURCE_DIR}/LICENSE ${CMAKE_SOURCE_DIR}/CHANGELOG.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The Debian package (`cpack -G DEB` in the build tree): everything above in
# one package, itscodec_<version>_<arch>.deb, its dependencies found by
# dpkg-shlibdeps, and a shlibs file for packages that link the library.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME itscodec)
set(CPACK_PACKAGE_VENDOR "itscodec developers")
set(CPACK_PACKAGE_CONTACT "itscodec developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "C-ITS messages between UPER and JSON or XML: shared library, header and converter")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"libitscodec translates the European C-ITS messages CAM, DENM, SPATEM, MAPEM,
IVIM, SREM and SSEM between their ASN.1 UPER encoding and JSON or XML text.
The package holds the shared library, its C header, CMake and pkg-config
files, and the command-line converter itsconv.")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
