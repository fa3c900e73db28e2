# Debian packages of what is installed: scripts/package.

# The package's version is the program's and the revision of its changelog.
file(STRINGS debian/changelog entry LIMIT_COUNT 1)
string(REGEX MATCH "\\(${PROJECT_VERSION}-([0-9]+)\\)" revision "${entry}")
if(NOT revision)
    message(FATAL_ERROR "packaging/debian/changelog is not of version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tamvo)
set(CPACK_PACKAGE_VENDOR Tamvo)
set(CPACK_PACKAGE_CONTACT "Tamvo maintainers <maintainers@tamvo.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL edge tcr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/debian)
set(CPACK_DEBIAN_EDGE_PACKAGE_NAME tamvo)
set(CPACK_DEBIAN_EDGE_DESCRIPTION "edge of Tamvo virtual networks
Tamvo joins hosts to a virtual network of their own. The edge runs on each of
them: it opens a network interface and carries the host's IPv4 packets over UDP
to the hosts behind the other edges.

This package has the edge, tamvoctl, which shows what a running edge or central
router knows, and a dissector of the tunnel protocol for Wireshark and tshark.")
set(CPACK_DEBIAN_EDGE_PACKAGE_DEPENDS "net-tools, systemd | systemd-standalone-sysusers")
set(CPACK_DEBIAN_EDGE_PACKAGE_SUGGESTS "tshark | wireshark")
set(CPACK_DEBIAN_EDGE_PACKAGE_CONTROL_EXTRA
    ${scripts}/edge/postinst ${scripts}/edge/prerm ${scripts}/edge/postrm)

set(CPACK_DEBIAN_TCR_PACKAGE_NAME tamvo-tcr)
set(CPACK_DEBIAN_TCR_DESCRIPTION "central router of Tamvo virtual networks
Tamvo joins hosts to a virtual network of their own. The central router lets
their edges join, gives out addresses, tells the edges of each other and relays
their packets.

tamvoctl, which shows and steers a running central router, is in the package
tamvo.")
set(CPACK_DEBIAN_TCR_PACKAGE_DEPENDS "systemd | systemd-standalone-sysusers")
set(CPACK_DEBIAN_TCR_PACKAGE_RECOMMENDS "tamvo")
set(CPACK_DEBIAN_TCR_PACKAGE_CONTROL_EXTRA
    ${scripts}/tcr/postinst ${scripts}/tcr/prerm ${scripts}/tcr/postrm)

include(CPack)
