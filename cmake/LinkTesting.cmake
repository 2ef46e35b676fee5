# link_add_qtest(<name> SOURCES <files...> LIBRARIES <targets...>)
# One QtTest executable, registered with ctest, run on the offscreen platform
# with the virtual card as SDK backend.
set(LINK_TEST_RUNTIME_DIR ${CMAKE_BINARY_DIR}/test-runtime)
file(MAKE_DIRECTORY ${LINK_TEST_RUNTIME_DIR})
file(CHMOD ${LINK_TEST_RUNTIME_DIR} DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)

set(LINK_TEST_ENVIRONMENT
    QT_QPA_PLATFORM=offscreen
    XDG_RUNTIME_DIR=${LINK_TEST_RUNTIME_DIR}
    UTPS_BACKEND=sim
    LINK_SOURCE_DIR=${PROJECT_SOURCE_DIR}
    LINK_PLUGIN_DIR=${LINK_PLUGIN_DIR}
    LINK_PLUGIN_LIBRARY_PATH=${LINK_PLUGIN_LIBRARY_PATH})

function(link_add_qtest name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;ARGS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    # Tests drive the virtual card: the SDK's control API is theirs.
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBRARIES} utps_control link_warnings)
    add_test(NAME ${name} COMMAND ${name} ${ARG_ARGS})
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${LINK_TEST_ENVIRONMENT}")
endfunction()
