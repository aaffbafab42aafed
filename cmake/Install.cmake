# What goes where, by GNUInstallDirs. The components are those of the packages.
include(CMakePackageConfigHelpers)

set_target_properties(zentho_cali PROPERTIES
    EXPORT_NAME cali
    OUTPUT_NAME zentho-cali
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
target_include_directories(zentho_cali PUBLIC
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zentho-cali>)

set(commands zentho-cali-install)
if(TARGET zentho-cali)
    list(APPEND commands zentho-cali)
endif()
install(TARGETS ${commands} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT commands)
# The programs that the store starts. They are in nobody's PATH.
foreach(program zentho-cali-confine zentho-cali-unpack)
    if(TARGET ${program})
        install(TARGETS ${program}
            RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/zentho-cali COMPONENT sources)
    endif()
endforeach()
install(TARGETS zentho_cali EXPORT zentho-cali
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

if(TARGET zentho_store)
    set_target_properties(zentho_store PROPERTIES
        EXPORT_NAME store
        OUTPUT_NAME zentho-store
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR})
    target_include_directories(zentho_store PUBLIC
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/zentho-cali>)
    install(TARGETS zentho_store EXPORT zentho-cali
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
            NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

# Only what a user of the library includes and what that includes in turn, in the folders under
# which the headers include each other.
set(public_headers
    imgproc/Cali.h
    imgproc/LookupTable.h
    imgproc/Records.h
    sdk/IRCalibrationManager.h
    sdk/IRLogger.h
    sdk/SimpleXML.h
    sdk/Timer.h
    util/Export.h
    util/Logger.h
    util/StringHelpers.h)
if(TARGET zentho_store)
    list(APPEND public_headers store/CalibrationStore.h store/Mirror.h store/Results.h
        store/Source.h)
endif()
foreach(header IN LISTS public_headers)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zentho-cali/${folder}
        COMPONENT development)
endforeach()

set(config_directory ${CMAKE_INSTALL_LIBDIR}/cmake/zentho-cali)
install(EXPORT zentho-cali NAMESPACE zentho:: FILE zentho-caliTargets.cmake
    DESTINATION ${config_directory} COMPONENT development)
configure_package_config_file(cmake/zentho-caliConfig.cmake.in zentho-caliConfig.cmake
    INSTALL_DESTINATION ${config_directory})
write_basic_package_version_file(zentho-caliConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/zentho-caliConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/zentho-caliConfigVersion.cmake
    DESTINATION ${config_directory} COMPONENT development)

# Relative to the file, so that an installed tree can be moved.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
file(RELATIVE_PATH pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_includedir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/zentho-cali.pc.in zentho-cali.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zentho-cali.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
if(TARGET zentho_store)
    # A static library leaves to the program what it needs itself.
    set(pc_requires)
    set(pc_nettle)
    if(NOT BUILD_SHARED_LIBS)
        set(pc_requires "zentho-cali = ${PROJECT_VERSION}")
        set(pc_nettle " -lnettle")
    endif()
    configure_file(cmake/zentho-store.pc.in zentho-store.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zentho-store.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endif()

# Below the prefix /usr this is the directory that the commands take by default.
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_DATADIR}/libzentho/cali COMPONENT commands)
# The README without the parts that refer to source files, which an installation lacks.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS README.md)
execute_process(COMMAND sed "/^<!-- sources -->$/,/^<!-- end -->$/d"
    INPUT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/README.md
    OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/README.md
    COMMAND_ERROR_IS_FATAL ANY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/README.md CHANGELOG.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT commands)
if(TARGET zentho-cali)
    install(FILES docs/zentho-cali.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/zentho-cali
        COMPONENT commands)
endif()
install(PROGRAMS samples/fleet/provision DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
    COMPONENT commands)
install(FILES samples/fleet/cameras.yml DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
    COMPONENT commands)

# Completions, where the Debian packages of the shells look for them. bash and fish look by the name
# of the command. zsh looks for packages in another folder than for what is below /usr/local.
foreach(command IN LISTS commands)
    install(FILES completions/bash/zentho-cali RENAME ${command}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT commands)
    install(FILES completions/fish/${command}.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT commands)
endforeach()
install(FILES completions/fish/__zentho_cali_serials.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_functions.d COMPONENT commands)
set(zsh_folder site-functions)
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_folder vendor-completions)
endif()
install(FILES completions/zsh/_zentho-cali
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT commands)
