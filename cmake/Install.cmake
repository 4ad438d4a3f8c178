# What `cmake --install` puts in place: the command with its manual page, the
# library (shared and static) with its public headers, a CMake package
# (find_package(Ormavec CONFIG), target Ormavec::ormavec) and ormavec.pc.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The headers keep the folders they have here, so that ormavec.h finds the
# others as it does in the source tree; consumers put include/ormavec on their
# include path and write #include <ormavec.h>.
set(ORMAVEC_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/ormavec)
set(ORMAVEC_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/Ormavec)

# The C++ library is libormavec, shared (the default a consumer links) and
# static; both carry the model of ormavec.h, and the shared one also the C
# entry points of automation/ormavec_automation.h.
target_include_directories(ormavec_core INTERFACE $<INSTALL_INTERFACE:${ORMAVEC_INSTALL_INCLUDEDIR}>)
target_compile_features(ormavec_core PUBLIC cxx_std_20)
set_target_properties(ormavec_core PROPERTIES OUTPUT_NAME ormavec EXPORT_NAME ormavec_static)
set(ORMAVEC_INSTALL_TARGETS ormavec_core)
if(TARGET ormavec_shared)
  target_include_directories(ormavec_shared INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${ORMAVEC_INSTALL_INCLUDEDIR}>)
  target_compile_features(ormavec_shared INTERFACE cxx_std_20)
  # The C++ interface changes with every release that adds a field, so the
  # soname follows the major version and the package version check demands it.
  set_target_properties(ormavec_shared PROPERTIES EXPORT_NAME ormavec
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  list(APPEND ORMAVEC_INSTALL_TARGETS ormavec_shared)
endif()
install(TARGETS ${ORMAVEC_INSTALL_TARGETS} EXPORT OrmavecTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ormavec.h DESTINATION ${ORMAVEC_INSTALL_INCLUDEDIR})
install(FILES automation/ormavec_automation.h DESTINATION ${ORMAVEC_INSTALL_INCLUDEDIR}/automation)
install(DIRECTORY collections diagnostics document entities io tables
  DESTINATION ${ORMAVEC_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

# The package needs nothing but its own targets, so the exported targets are
# the whole configuration file.
install(EXPORT OrmavecTargets FILE OrmavecConfig.cmake NAMESPACE Ormavec::
  DESTINATION ${ORMAVEC_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/OrmavecConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/OrmavecConfigVersion.cmake DESTINATION ${ORMAVEC_INSTALL_CMAKEDIR})

# ormavec.pc finds its prefix from where it lies, so an installed tree can move.
file(RELATIVE_PATH ORMAVEC_PC_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" ORMAVEC_PC_PREFIX "${ORMAVEC_PC_PREFIX}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/ormavec.pc.in ${PROJECT_BINARY_DIR}/ormavec.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ormavec.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET ormavec)
  install(TARGETS ormavec RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # The manual page is made from the command's own help, so the two agree.
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/ormavec.1
    COMMAND ${CMAKE_COMMAND} -DORMAVEC=$<TARGET_FILE:ormavec> -DVERSION=${PROJECT_VERSION}
            -DOUT=${PROJECT_BINARY_DIR}/ormavec.1 -P ${CMAKE_CURRENT_LIST_DIR}/ManPage.cmake
    DEPENDS ormavec ${CMAKE_CURRENT_LIST_DIR}/ManPage.cmake
    COMMENT "Writing the manual page ormavec.1")
  add_custom_target(ormavec_man ALL DEPENDS ${PROJECT_BINARY_DIR}/ormavec.1)
  install(FILES ${PROJECT_BINARY_DIR}/ormavec.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

# `cpack -G DEB` in the build folder makes a Debian package of the same tree.
set(CPACK_PACKAGE_NAME ormavec)
set(CPACK_PACKAGE_VENDOR Ormavec)
set(CPACK_PACKAGE_CONTACT "Ormavec developers <ormavec@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "read, change and write ASCII DXF drawings (C++ library and command)")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
find_program(ORMAVEC_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(ORMAVEC_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
endif()
include(CPack)

# The installed tree, used from other projects both ways, and the .deb.
if(ORMAVEC_BUILD_TESTS AND TARGET ormavec_shared AND TARGET ormavec)
  add_test(NAME install_test COMMAND ${PROJECT_SOURCE_DIR}/tests/install_test.sh ${PROJECT_BINARY_DIR} ${PROJECT_VERSION} cmake)
  set_tests_properties(install_test PROPERTIES RESOURCE_LOCK build_tree)
endif()
# pip installs the Python package into a fresh virtual environment.
if(ORMAVEC_BUILD_TESTS AND TARGET ormavec_python AND NOT ORMAVEC_SANITIZE)
  add_test(NAME pip_install_test COMMAND ${PROJECT_SOURCE_DIR}/tests/install_test.sh ${PROJECT_BINARY_DIR} ${PROJECT_VERSION} pip)
  set_tests_properties(pip_install_test PROPERTIES RESOURCE_LOCK build_tree)
endif()
