# What Debian also requires: a changelog in its own format, and compressed documentation.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
set(changelog ${share}/doc/${CPACK_PACKAGE_NAME}/changelog)
set(when now)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(when "@$ENV{SOURCE_DATE_EPOCH}")
endif()
execute_process(COMMAND date -u -R -d ${when} OUTPUT_VARIABLE date COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${changelog}
"${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}) stable; urgency=medium

  * See CHANGELOG.md for what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}")
file(GLOB pages ${share}/man/man1/*.1)
execute_process(COMMAND gzip -9nf ${changelog} ${pages} COMMAND_ERROR_IS_FATAL ANY)
# Whatever the umask.
execute_process(COMMAND chmod -R u+rwX,go=rX ${CPACK_TEMPORARY_INSTALL_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
