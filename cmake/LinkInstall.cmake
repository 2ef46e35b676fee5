# The installed tree: linkhost in bin/, the framework and the SDK in
# lib/linkhost/ (private to linkhost: their names are too plain for the
# system's library folder), the plug-in module in lib/linkhost/plugins/, the
# desktop entry and the icon in share/. Plain lib/, not a multiarch libdir:
# linkhost finds its plug-ins at <its folder>/../lib/linkhost/plugins
# (HostApp::pluginFolder), and the plug-in finds its resources next to itself. Only what a user runs is
# installed: no tests, benchmarks, fuzzers, static helpers, headers or the
# SDK's control API. The catalogues are embedded as Qt resources (:/i18n) and
# travel inside the binaries.
set(LINK_INSTALL_BINDIR bin)
set(LINK_INSTALL_LIBDIR lib/linkhost)
set(LINK_INSTALL_PLUGINDIR ${LINK_INSTALL_LIBDIR}/plugins)

# Relative run paths, so that the tree works wherever it is unpacked. The
# build tree has the same layout (bin/, lib/linkhost/, lib/linkhost/plugins/), so the
# binaries are linked with them from the start: rewriting an absolute build
# run path at install time would leave CMake's padding in the build tree's,
# an empty entry that makes the loader search the current folder.
set_target_properties(LinkFramework utps PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${LINK_INSTALL_LIBDIR})
set_target_properties(linkhost PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${LINK_INSTALL_LIBDIR}"
    BUILD_WITH_INSTALL_RPATH ON)
set_target_properties(DeviceMgrUI PROPERTIES
    INSTALL_RPATH "$ORIGIN/.."
    BUILD_WITH_INSTALL_RPATH ON)

install(TARGETS linkhost RUNTIME DESTINATION ${LINK_INSTALL_BINDIR})
install(TARGETS LinkFramework utps LIBRARY DESTINATION ${LINK_INSTALL_LIBDIR})
install(TARGETS DeviceMgrUI LIBRARY DESTINATION ${LINK_INSTALL_PLUGINDIR})
# The chooser's "device in use" icon, looked up under the plug-in folder.
install(FILES ${PROJECT_SOURCE_DIR}/src/DeviceMgrUIPlugin/resources/DeviceSelect
        DESTINATION ${LINK_INSTALL_PLUGINDIR}/DeviceMgrUIPlugin)

install(FILES ${PROJECT_SOURCE_DIR}/data/linkhost.desktop DESTINATION share/applications)
install(FILES ${PROJECT_SOURCE_DIR}/data/linkhost.svg
        DESTINATION share/icons/hicolor/scalable/apps)
