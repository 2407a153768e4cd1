# What is installed: four components, each a package. Paths are relative to the installed files, so that the tree can be
# moved.
include(CMakePackageConfigHelpers)

set(COUPLER_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Folder for completions of zsh")
set(stand_in_folder brantix/platform)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/BrantixCoupler)

# In the build tree the files lie as they are installed, so both have one run path: for a path that changes CMake keeps room
# with empty entries, which the loader reads as the working directory.
set_target_properties(brantix_coupler PROPERTIES BUILD_WITH_INSTALL_RPATH ON)

# The folder of the stand-ins is searched before the loader's own: where it is installed, the stand-ins are meant. An
# appliance leaves that component out, and the loader finds the real libraries. LD_LIBRARY_PATH comes before both.
if(NOT COUPLER_PLATFORM_DIR)
  set_target_properties(brantix_coupler PROPERTIES INSTALL_RPATH $ORIGIN/${stand_in_folder})
  install(TARGETS melskfw quorvaosc tolmsyslog mesvo LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${stand_in_folder}
                                                             COMPONENT platform-stand-ins)
endif()

# Hosts load the library by its bare name, which therefore carries no version.
set_target_properties(brantix_coupler PROPERTIES EXPORT_NAME coupler)
install(TARGETS brantix_coupler EXPORT BrantixCoupler LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)

install(DIRECTORY include/brantix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT BrantixCoupler NAMESPACE BrantixCoupler:: FILE BrantixCouplerConfig.cmake DESTINATION ${config_folder}
        COMPONENT development)
write_basic_package_version_file(BrantixCouplerConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BrantixCouplerConfigVersion.cmake DESTINATION ${config_folder}
        COMPONENT development)
string(REGEX REPLACE "[^/]+" ".." up "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file(cmake/brantix-coupler.pc.in brantix-coupler.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brantix-coupler.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

if(TARGET couplerctl)
  # The loader knows the library folders of /usr.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(couplerctl PROPERTIES INSTALL_RPATH $ORIGIN/${libraries} BUILD_WITH_INSTALL_RPATH ON)
  endif()
  install(TARGETS couplerctl RUNTIME COMPONENT tool)
  install(FILES docs/couplerctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
  install(FILES tools/completion/couplerctl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tool)
  install(FILES tools/completion/_couplerctl DESTINATION ${COUPLER_ZSH_COMPLETIONS} COMPONENT tool)
endif()
