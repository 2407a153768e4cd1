# Debian packages, one for each installed component: cmake --preset package, cmake --build, cpack --preset package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brantix-coupler)
set(CPACK_PACKAGE_CONTACT "the Brantix coupler authors <coupler@brantix.example>" CACHE STRING "Who makes the packages")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib ${PROJECT_BINARY_DIR}/lib/brantix/platform
                                                ${COUPLER_PLATFORM_DIR})
# What they hold beside the installed files.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake)
set(CPACK_COUPLER_SOURCE ${PROJECT_SOURCE_DIR})

# coupler_package(COMPONENT NAME SECTION DEPENDS DESCRIPTION): the first line of the description is its summary.
function(coupler_package component name section depends description)
  string(TOUPPER ${component} key)
  foreach(value PACKAGE_NAME=${name} PACKAGE_SECTION=${section} "PACKAGE_DEPENDS=${depends}"
                "DESCRIPTION=${description}")
    string(REGEX MATCH "^[A-Z_]+" field "${value}")
    string(REPLACE "${field}=" "" value "${value}")
    set(CPACK_DEBIAN_${key}_${field} "${value}" PARENT_SCOPE)
  endforeach()
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
endfunction()

set(exactly "(= ${PROJECT_VERSION})")
# No dependency on the platform: on an appliance it is there, packaged or not, and nothing may pull in stand-ins.
coupler_package(library libbrantix-coupler libs ""
"library between an appliance's management application and its platform
The management application loads it into its own process and asks through
a flat C interface: image headers, firmware bundles and upgrades, running
versions, the SNMP agent and syslog, notifications, CLI sessions, command
templates.")
coupler_package(development libbrantix-coupler-dev libdevel "libbrantix-coupler ${exactly}"
"headers to compile against the appliance's coupler library
The public headers for C11 and C++17, a pkg-config file and a CMake package,
for authors of a management application.")
if(NOT COUPLER_PLATFORM_DIR)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS brantix-appliance)
  coupler_package(appliance brantix-appliance utils "bubblewrap | proot, procps"
"simulated appliance to try the coupler library in
It runs a command where the fixed paths, scripts and services of the appliance
are there and nothing of this machine is touched. With it come stand-ins for
the appliance's own platform libraries, which the loader finds last, so that
the coupler library loads on a machine that is no appliance, and a service that
receives notifications.")
  set(CPACK_DEBIAN_APPLIANCE_PACKAGE_SUGGESTS "rsyslog, snmp, snmpd, snmptrapd")
endif()
if(TARGET couplerctl)
  coupler_package(tool couplerctl utils "libbrantix-coupler ${exactly}"
"works with an appliance's images, firmware bundles and settings
It packs, lists, checks and unpacks containers, and runs the operations of
the coupler library from the command line.")
endif()

# The symbols file gives every program that is linked with the library its dependency.
set(symbols ${PROJECT_SOURCE_DIR}/abi/exported.symbols)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${symbols})
file(STRINGS ${symbols} names REGEX "^[^#]")
list(TRANSFORM names REPLACE "^(.+)$" " \\1@Base ${PROJECT_VERSION}\n")
list(JOIN names "" names)
file(WRITE ${PROJECT_BINARY_DIR}/debian/symbols "libbrantix_coupler.so libbrantix-coupler #MINVER#\n${names}")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/symbols
                                               ${PROJECT_BINARY_DIR}/debian/triggers)

# Behind the folders that the loader knows by itself, and by the file's name behind those that others add.
set(CPACK_COUPLER_LAST /etc/ld.so.conf.d/zzzz-brantix-stand-ins.conf)
set(CPACK_COUPLER_LAST_FOLDERS "/lib\n/usr/lib\n${CMAKE_INSTALL_PREFIX}/${platform_folder}\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/conffiles "${CPACK_COUPLER_LAST}\n")
set(CPACK_DEBIAN_APPLIANCE_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/conffiles
                                                 ${PROJECT_BINARY_DIR}/debian/triggers)
include(CPack)
