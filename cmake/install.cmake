# What is installed: four components, each a package. Paths are relative to the installed files, so that the tree can be
# moved.
include(CMakePackageConfigHelpers)

set(COUPLER_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Folder for completions of zsh")
set(platform_folder ${CMAKE_INSTALL_LIBDIR}/brantix/platform)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/BrantixCoupler)

# In the build tree the library finds the stand-ins beside it. The installed one has no run path: no host on a real
# appliance may meet a stand-in before the real library. (CMake itself would leave an empty entry, the working directory.)
if(NOT COUPLER_PLATFORM_DIR)
  set_target_properties(brantix_coupler PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH $ORIGIN/brantix/platform)
endif()

# Hosts load the library by its bare name, which therefore carries no version. They link where its platform is not.
target_link_options(brantix_coupler INTERFACE $<INSTALL_INTERFACE:-Wl,--allow-shlib-undefined>)
set_target_properties(brantix_coupler PROPERTIES EXPORT_NAME coupler)
install(TARGETS brantix_coupler EXPORT BrantixCoupler LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
install(CODE "file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libbrantix_coupler.so\")"
        COMPONENT library)

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
  install(FILES docs/manifest.schema.json DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)
  install(FILES tools/completion/couplerctl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tool)
  install(FILES tools/completion/_couplerctl DESTINATION ${COUPLER_ZSH_COMPLETIONS} COMPONENT tool)
endif()

# The simulated appliance: the platform's folder as it stands in the source, with the stand-ins in it.
if(NOT COUPLER_PLATFORM_DIR)
  install(TARGETS melskfw quorvaosc tolmsyslog mesvo LIBRARY DESTINATION ${platform_folder} COMPONENT appliance)
  install(PROGRAMS platform/appliance DESTINATION ${platform_folder} COMPONENT appliance)
  install(DIRECTORY platform/appliance.d platform/scripts DESTINATION ${platform_folder} COMPONENT appliance
          USE_SOURCE_PERMISSIONS)
  install(PROGRAMS platform/services/snmp DESTINATION ${platform_folder}/services COMPONENT appliance)
  install(TARGETS notification-service RUNTIME COMPONENT appliance)
  file(RELATIVE_PATH appliance ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${platform_folder}/appliance)
  file(CREATE_LINK ${appliance} ${PROJECT_BINARY_DIR}/brantix-appliance SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/brantix-appliance DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT appliance)
  install(FILES docs/brantix-appliance.1 docs/notification-service.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT appliance)
endif()
