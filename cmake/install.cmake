# What is installed: the tool, the library with its headers, the module, and what finds them.
include(CMakePackageConfigHelpers)
# Where the library looks for modules.
set(ZEPL_MODULE_DIR ${CMAKE_INSTALL_LIBDIR}/zepl/modules)

# Where the library is in the build, and once it is installed. Both are in one path: one that is replaced when it is installed has an
# empty entry in the build, which stands for the folder where the program is called.
function(set_rpath target in_build installed)
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "${in_build};${installed}" BUILD_WITH_INSTALL_RPATH ON)
endfunction()

install(TARGETS zepl RUNTIME COMPONENT tool)
install(TARGETS libzepl EXPORT zepl-targets LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS zepl_contract EXPORT zepl-targets COMPONENT development)
install(TARGETS zcmds3 LIBRARY DESTINATION ${ZEPL_MODULE_DIR} COMPONENT tool)
# The library is found where the system looks, or beside the tool's own folder.
file(RELATIVE_PATH LIBRARY_FROM_TOOL /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH LIBRARY_FROM_MODULE /prefix/${ZEPL_MODULE_DIR} /prefix/${CMAKE_INSTALL_LIBDIR})
if(NOT ZEPL_SYSTEM_LIBRARY)
    set_rpath(zepl "$ORIGIN" "$ORIGIN/${LIBRARY_FROM_TOOL}")
    set_rpath(zcmds3 "$ORIGIN" "$ORIGIN/${LIBRARY_FROM_MODULE}")
endif()

install(FILES ${RUNTIME_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zepl COMPONENT development)
install(FILES ${CONTRACT_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zepl/host COMPONENT development)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zepl)
install(EXPORT zepl-targets NAMESPACE zepl:: DESTINATION ${PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/zepl-config.cmake.in zepl-config.cmake INSTALL_DESTINATION ${PACKAGE_DIR}
    PATH_VARS ZEPL_MODULE_DIR)
write_basic_package_version_file(zepl-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zepl-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/zepl-config-version.cmake
    cmake/zepl_add_module.cmake DESTINATION ${PACKAGE_DIR} COMPONENT development)
file(RELATIVE_PATH PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/zepl.pc.in zepl.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zepl.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(FILES cli/completion/zepl.bash RENAME zepl DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    COMPONENT tool)
install(FILES cli/completion/_zepl DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tool)
install(FILES cli/completion/zepl.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tool)
install(DIRECTORY docs/commands DESTINATION ${CMAKE_INSTALL_DATADIR}/zepl COMPONENT tool)
install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/web DESTINATION ${CMAKE_INSTALL_DATADIR}/zepl COMPONENT tool OPTIONAL)
install(FILES editors/README.md DESTINATION ${CMAKE_INSTALL_DATADIR}/zepl/editors COMPONENT tool)
install(DIRECTORY editors/vim DESTINATION ${CMAKE_INSTALL_DATADIR}/zepl/editors COMPONENT tool)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/zepl COMPONENT tool)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool PATTERN commands EXCLUDE
    PATTERN man EXCLUDE PATTERN *.dot EXCLUDE)
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)

# Manual pages, from docs/man.
find_program(LOWDOWN lowdown)
find_package(Python3 COMPONENTS Interpreter)
if(LOWDOWN AND Python3_FOUND AND NOT CMAKE_CROSSCOMPILING)
    set(MAN_FOLDER ${CMAKE_CURRENT_BINARY_DIR}/man)
    set(MAN_PAGES ${MAN_FOLDER}/zepl.1 ${MAN_FOLDER}/zepl-procedure.5 ${MAN_FOLDER}/zepl-modules.7)
    file(GLOB MAN_SOURCES CONFIGURE_DEPENDS docs/man/*.md)
    add_custom_command(OUTPUT ${MAN_PAGES}
        COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/man_pages $<TARGET_FILE:zepl> ${MAN_FOLDER}
        DEPENDS zepl tools/man_pages ${MAN_SOURCES} docs/guide.md docs/modules.md VERBATIM)
    add_custom_target(man_pages ALL DEPENDS ${MAN_PAGES})
    foreach(section 1 5 7)
        set(pages ${MAN_PAGES})
        list(FILTER pages INCLUDE REGEX "\\.${section}$")
        install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT tool)
    endforeach()
else()
    message(STATUS "lowdown or Python is not there: no manual pages are made")
endif()
