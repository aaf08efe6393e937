# What a program built against the installed library finds: a CMake package
# (find_package(configstorec) gives configstorec::configstorec) and a pkg-config file.
include(CMakePackageConfigHelpers)

# The imported target names the library by its SONAME link, which the runtime files hold. The
# library's link to its engine stays out of the package: the engine is found at run time.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/configstorec)
get_target_property(library_soversion configstorec SOVERSION)
set(library_soname ${CMAKE_SHARED_LIBRARY_PREFIX}configstorec${CMAKE_SHARED_LIBRARY_SUFFIX}.${library_soversion})
configure_package_config_file(cmake/configstorec-config.cmake.in
    ${PROJECT_BINARY_DIR}/configstorec-config.cmake INSTALL_DESTINATION ${package_dir}
    PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/configstorec-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/configstorec-config.cmake
              ${PROJECT_BINARY_DIR}/configstorec-config-version.cmake
        DESTINATION ${package_dir} COMPONENT dev)

# The prefix is known only when installing (cmake --install --prefix may change it), so the
# pkg-config file is written in two steps: the directories now, the prefix at install time.
foreach(dir LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        set(pc_${dir} "${CMAKE_INSTALL_${dir}}")
    else()
        set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    endif()
endforeach()
set(pc_prefix "@CMAKE_INSTALL_PREFIX@")
configure_file(cmake/configstorec.pc.in ${PROJECT_BINARY_DIR}/configstorec.pc.in @ONLY)
install(CODE "configure_file(\"${PROJECT_BINARY_DIR}/configstorec.pc.in\"
                             \"${PROJECT_BINARY_DIR}/configstorec.pc\" @ONLY)" COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/configstorec.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
