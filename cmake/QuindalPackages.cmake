# The Debian packages, by CPack from the components of the installation; scripts/package.sh makes them. What only a
# package has (Python, units, configuration, man pages, papers) is left out of `cmake --install`.

set(QUINDAL_MAINTAINER "QuindalIM maintainers <maintainers@quindalim.invalid>")
set(QUINDAL_PACKAGES libz9sys libquindalim9 libquindalim-dev quindal python3-quindalim)
string(TIMESTAMP QUINDAL_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH where that is set
configure_file(packaging/debian/changelog.in packaging/changelog @ONLY)

# quindal_packaged_file(SOURCE DESTINATION PACKAGE)
function(quindal_packaged_file source destination package)
  cmake_path(GET destination FILENAME name)
  cmake_path(GET destination PARENT_PATH folder)
  install(FILES ${source} DESTINATION ${folder} RENAME ${name} COMPONENT ${package} EXCLUDE_FROM_ALL)
endfunction()

foreach(package IN LISTS QUINDAL_PACKAGES)
  quindal_packaged_file(packaging/debian/copyright share/doc/${package}/copyright ${package})
  quindal_packaged_file(${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog
    share/doc/${package}/changelog ${package})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/${package}.lintian-overrides)
    quindal_packaged_file(packaging/debian/${package}.lintian-overrides share/lintian/overrides/${package} ${package})
  endif()
endforeach()

# The command line: completion made of its own description, man pages, units, configuration, examples.
set(QUINDAL_COMPLETION ${CMAKE_CURRENT_BINARY_DIR}/packaging/quindal.bash)
add_custom_command(OUTPUT ${QUINDAL_COMPLETION}
  COMMAND quindal completion > ${QUINDAL_COMPLETION}
  DEPENDS quindal)
add_custom_target(quindal_packaged DEPENDS quindal_installed ${QUINDAL_COMPLETION})
quindal_packaged_file(${QUINDAL_COMPLETION} share/bash-completion/completions/quindal quindal)
if(TARGET quindal_manual)
  add_dependencies(quindal_packaged quindal_manual)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/man/man1 ${CMAKE_CURRENT_BINARY_DIR}/man/man5
          DESTINATION share/man COMPONENT quindal EXCLUDE_FROM_ALL)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/man/man3
          DESTINATION share/man COMPONENT libquindalim-dev EXCLUDE_FROM_ALL)
endif()
foreach(service router server)
  quindal_packaged_file(packaging/systemd/quindal-${service}.service
    lib/systemd/system/quindal-${service}.service quindal)
endforeach()
foreach(file router.conf users.csv quindal.ini)
  quindal_packaged_file(packaging/etc/${file} /etc/quindal/${file} quindal)
endforeach()
quindal_packaged_file(packaging/etc/passwords.example share/doc/quindal/examples/passwords quindal)
foreach(example market.xml accounts.csv positions.csv orders.csv)
  quindal_packaged_file(examples/${example} share/doc/quindal/examples/${example} quindal)
endforeach()
foreach(page serve operate input-files explain)
  quindal_packaged_file(docs/${page}.md share/doc/quindal/${page}.md quindal)
endforeach()

# The Python package as its own build makes it, from a copy, with what importlib knows of it but where it was built.
install(CODE "
  set(source \"${CMAKE_CURRENT_BINARY_DIR}/packaging/python\")
  set(target \"\$ENV{DESTDIR}/usr/lib/python3/dist-packages\")
  file(REMOVE_RECURSE \"\${source}\")
  file(COPY \"${CMAKE_CURRENT_SOURCE_DIR}/Bindings/python/\" DESTINATION \"\${source}\" PATTERN __pycache__ EXCLUDE)
  execute_process(COMMAND /usr/bin/python3 -m pip --disable-pip-version-check install --quiet --root-user-action=ignore
      --no-deps --no-index --no-build-isolation --no-compile --target \"\${target}\" \"\${source}\"
    COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB leftovers \"\${target}/*.dist-info/direct_url.json\" \"\${target}/*.dist-info/REQUESTED\")
  file(REMOVE \${leftovers})" COMPONENT python3-quindalim EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${QUINDAL_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_SET_DESTDIR ON) # /etc is no part of /usr
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${QUINDAL_PACKAGES})
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/StageDebianFiles.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quindalim)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
get_target_property(middleware_folder Z9Sys BINARY_DIR)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${middleware_folder})

# quindal_package(NAME SECTION section SUMMARY line TEXT paragraph [DEPENDS packages] [RECOMMENDS packages])
function(quindal_package name)
  cmake_parse_arguments(ARG "" "SECTION;SUMMARY;TEXT;DEPENDS;RECOMMENDS" "" ${ARGN})
  string(TOUPPER ${name} component)
  foreach(variable SECTION DEPENDS RECOMMENDS)
    set(CPACK_DEBIAN_${component}_PACKAGE_${variable} "${ARG_${variable}}" PARENT_SCOPE)
  endforeach()
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_COMPONENT_${component}_DESCRIPTION "${ARG_SUMMARY}\n${ARG_TEXT}" PARENT_SCOPE)
endfunction()

# libz9sys-abi is what the exchange's own package of that library may provide.
set(middleware "libz9sys (>= ${PROJECT_VERSION}) | libz9sys-abi")
quindal_package(libz9sys SECTION libs
  SUMMARY "message queue, settings and logs under QuindalIM"
  TEXT "libZ9Sys.so connects a program to the router of a derivatives exchange, reads
ini files and writes logs. Its name carries no version, so that the exchange's
own build can stand in its place.")
set(CPACK_DEBIAN_LIBZ9SYS_PACKAGE_PROVIDES libz9sys-abi)
set(CPACK_DEBIAN_LIBZ9SYS_PACKAGE_CONFLICTS libz9sys-abi)
set(CPACK_DEBIAN_LIBZ9SYS_PACKAGE_REPLACES libz9sys-abi)
quindal_package(libquindalim9 SECTION libs
  SUMMARY "initial margin of derivatives portfolios, computed by the client"
  TEXT "libQuindalIM_Client computes the initial margin (GO) of futures and options in
the application's own process, as the clearing does: it downloads the
instruments, takes positions and orders one at a time, and returns the new
margin."
  DEPENDS ${middleware})
quindal_package(libquindalim-dev SECTION libdevel
  SUMMARY "initial margin of derivatives portfolios - development files"
  TEXT "Header of libQuindalIM_Client, and how CMake and pkg-config find the library."
  DEPENDS "libquindalim9 (= ${PROJECT_VERSION}), ${middleware}")
quindal_package(quindal SECTION utils
  SUMMARY "initial margin of derivatives portfolios - command line and server"
  TEXT "Computes the margin of a book of positions from CSV files, explains it, says
what orders would add to it, and checks input files. Serves a market file to
clients of libQuindalIM_Client, by systemd where that is wanted."
  DEPENDS "${middleware}, nats-server, fonts-dejavu-core" RECOMMENDS bash-completion)
quindal_package(python3-quindalim SECTION python
  SUMMARY "initial margin of derivatives portfolios - Python package"
  TEXT "Calls libQuindalIM_Client from Python: sessions, accounts, positions, orders,
what-ifs, explanations and plots."
  DEPENDS "python3 (>= 3.11), libquindalim9 (>= ${PROJECT_VERSION})"
  RECOMMENDS "quindal, python3-numpy, python3-pandas, python3-matplotlib")
set(CPACK_DEBIAN_PYTHON3-QUINDALIM_PACKAGE_ARCHITECTURE all)

set(scripts ${CMAKE_CURRENT_BINARY_DIR}/packaging/control)
foreach(component LIBZ9SYS LIBQUINDALIM9)
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/triggers)
endforeach()
# What a package of a program that is linked to the library depends on.
file(WRITE ${scripts}/libquindalim9/shlibs
  "libQuindalIM_Client ${PROJECT_VERSION_MAJOR} libquindalim9 (>= ${PROJECT_VERSION})\n")
list(APPEND CPACK_DEBIAN_LIBQUINDALIM9_PACKAGE_CONTROL_EXTRA ${scripts}/libquindalim9/shlibs)
foreach(package quindal python3-quindalim)
  foreach(script postinst prerm postrm)
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian/${package}.${script})
      configure_file(packaging/debian/${package}.${script} ${scripts}/${package}/${script} COPYONLY)
      string(TOUPPER ${package} component)
      list(APPEND CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${scripts}/${package}/${script})
    endif()
  endforeach()
endforeach()
file(WRITE ${scripts}/quindal/conffiles "/etc/quindal/quindal.ini\n/etc/quindal/router.conf\n/etc/quindal/users.csv\n")
list(APPEND CPACK_DEBIAN_QUINDAL_PACKAGE_CONTROL_EXTRA ${scripts}/quindal/conffiles)
include(CPack)
