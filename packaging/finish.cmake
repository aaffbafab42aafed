# Adds what a Debian package holds besides the installed files. CPack runs this on the folders of
# the components before it packs them.
execute_process(
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/finish "${CPACK_TEMPORARY_DIRECTORY}"
            "${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}"
            commands ${CPACK_DEBIAN_COMMANDS_PACKAGE_NAME}
            library ${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME}
            development ${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}
            sources ${CPACK_DEBIAN_SOURCES_PACKAGE_NAME}
    COMMAND_ERROR_IS_FATAL ANY)
