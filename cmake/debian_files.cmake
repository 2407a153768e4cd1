# Run by cpack between installing and packing: adds what Debian wants in each package.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
find_program(GZIP gzip REQUIRED)

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} key)
  set(package ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
  set(folder ${share}/doc/${package})
  configure_file(${CPACK_COUPLER_SOURCE}/LICENSE ${folder}/copyright COPYONLY)
  configure_file(${CPACK_COUPLER_SOURCE}/CHANGELOG.md ${folder}/CHANGELOG.md COPYONLY)
  file(WRITE ${folder}/changelog
       "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n\n"
       "  * What changed stands in CHANGELOG.md.gz.\n\n"
       " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
  if(EXISTS ${CPACK_COUPLER_SOURCE}/cmake/lintian/${package})
    file(COPY ${CPACK_COUPLER_SOURCE}/cmake/lintian/${package} DESTINATION ${share}/lintian/overrides)
  endif()
  if(component STREQUAL appliance)
    file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/appliance${CPACK_COUPLER_LAST} "${CPACK_COUPLER_LAST_FOLDERS}")
  endif()
  file(GLOB pages ${share}/man/*/*.[1-9])
  execute_process(COMMAND ${GZIP} -9n ${folder}/changelog ${folder}/CHANGELOG.md ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
