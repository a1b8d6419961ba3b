# What `cmake --install` puts under the prefix (GNUInstallDirs), and the Debian package
# that CPack builds from the same rules (scripts/package). The version is project()'s.
include(GNUInstallDirs)

set(VARNEL_APP_ID org.zephrin.VarnelMigrate)
set(VARNEL_PACKAGING_DIR ${CMAKE_CURRENT_SOURCE_DIR}/packaging)
set(VARNEL_PACKAGING_BUILD_DIR ${CMAKE_CURRENT_BINARY_DIR}/packaging)
set(VARNEL_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/varnel-migrate)
# The one date of this version, in the changelog, the manual page and the metainfo.
set(VARNEL_RELEASE_DATE 2026-11-25)
set(VARNEL_RELEASE_CHANGELOG_DATE "Wed, 25 Nov 2026 12:00:00 +0000")
set(VARNEL_RELEASE_EPOCH 1795608000)
set(VARNEL_MAINTAINER "Zephrin migration team <migration@zephrin.example>")

configure_file(${VARNEL_PACKAGING_DIR}/${VARNEL_APP_ID}.metainfo.xml.in
    ${VARNEL_PACKAGING_BUILD_DIR}/${VARNEL_APP_ID}.metainfo.xml @ONLY)
configure_file(${VARNEL_PACKAGING_DIR}/changelog.in ${VARNEL_PACKAGING_BUILD_DIR}/changelog @ONLY)
configure_file(${VARNEL_PACKAGING_DIR}/varnel-migrate.1.scd
    ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1.scd @ONLY)

# Debian keeps manual pages and changelogs compressed, without a time stamp in the
# gzip header.
find_program(GZIP_PROGRAM gzip REQUIRED)
set(VARNEL_COMPRESSED ${VARNEL_PACKAGING_BUILD_DIR}/changelog.gz)
add_custom_command(OUTPUT ${VARNEL_PACKAGING_BUILD_DIR}/changelog.gz
    COMMAND ${GZIP_PROGRAM} -9nfk changelog
    WORKING_DIRECTORY ${VARNEL_PACKAGING_BUILD_DIR}
    DEPENDS ${VARNEL_PACKAGING_BUILD_DIR}/changelog
    VERBATIM)

# The manual page is written in scdoc's plain-text form and turned into troff here.
find_program(SCDOC_PROGRAM scdoc)
if(SCDOC_PROGRAM)
    add_custom_command(OUTPUT ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1
            ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1.gz
        COMMAND ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=${VARNEL_RELEASE_EPOCH}
            sh -c "${SCDOC_PROGRAM} < varnel-migrate.1.scd > varnel-migrate.1"
        COMMAND ${GZIP_PROGRAM} -9nfk varnel-migrate.1
        WORKING_DIRECTORY ${VARNEL_PACKAGING_BUILD_DIR}
        DEPENDS ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1.scd
        VERBATIM)
    list(APPEND VARNEL_COMPRESSED ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1.gz)
    install(FILES ${VARNEL_PACKAGING_BUILD_DIR}/varnel-migrate.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(WARNING "scdoc was not found: the manual page is not built or installed "
        "(bash scripts/install-deps installs it)")
endif()
add_custom_target(packaging-files ALL DEPENDS ${VARNEL_COMPRESSED})

install(TARGETS varnel-migrate RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Relocations are resolved at start and then made read-only, as Debian builds its
# programs (only the program is linked so; the library keeps the project's flags).
target_link_options(varnel-migrate PRIVATE LINKER:-z,relro,-z,now)
install(FILES ${VARNEL_PACKAGING_DIR}/${VARNEL_APP_ID}.desktop
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/applications)
install(FILES ${VARNEL_PACKAGING_DIR}/${VARNEL_APP_ID}.svg
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/icons/hicolor/scalable/apps)
install(FILES ${VARNEL_PACKAGING_BUILD_DIR}/${VARNEL_APP_ID}.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/metainfo)
# Connection pooling for the FreeTDS driver is the administrator's to switch on
# (README, "SQL Server"); the package only brings the command.
install(PROGRAMS ${VARNEL_PACKAGING_DIR}/enable-odbc-pooling
    DESTINATION ${CMAKE_INSTALL_DATADIR}/varnel-migrate)
install(FILES README.md docs/answers-file.md docs/security.md docs/directory-schema.md
    ${VARNEL_PACKAGING_DIR}/copyright ${VARNEL_PACKAGING_BUILD_DIR}/changelog.gz
    DESTINATION ${VARNEL_DOC_DIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME varnel-migrate)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR Zephrin)
set(CPACK_PACKAGE_CONTACT ${VARNEL_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "migrates Varnel 3.1x users into a Zephrin Directory")
set(CPACK_PACKAGE_DESCRIPTION
    "A wizard for the administrator of a Zephrin installation: it moves the
users of a Varnel 3.1x database, their settings, the Exchange servers they
live on and their Device Provisioning profiles into a Zephrin Directory
database, with a decision for every login ID the Directory holds already,
and sends the migrated users their new passwords by e-mail.

It reaches SQL Server through unixODBC and the FreeTDS driver, runs from an
answers file without a person, and makes a demo installation on embedded
databases to try it without either product.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries the program links come from dpkg-shlibdeps; what it loads at run time
# is named here: the Qt SQL drivers of both engines, the platform plugins (windows,
# offscreen for unattended runs, VNC), and the FreeTDS driver under unixODBC.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libqt6sql6-odbc, libqt6sql6-sqlite, qt6-qpa-plugins, tdsodbc, odbcinst, unixodbc")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# cpack and cmake --install take what is built (scripts/package builds the program
# and its files) rather than building every test first.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
include(CPack)
