# The man pages, out of docs/man and of the help of the command line: `cmake --build build/release --target quindal_manual`
# writes man/man1/quindal.1 and the others into the build tree. Needs pandoc (scripts/install-deps.sh --docs).
set(QUINDAL_MAN_PAGES
  quindal.1 quindal-check.1 quindal-desk.1 quindal-explain.1 quindal-fetch.1 quindal-files.1 quindal-fit.1 quindal-margin.1
  quindal-reconcile.1 quindal-relief.1 quindal-serve.1 quindal-status.1 quindal-what-if.1 libquindalim.3 quindal.ini.5
  quindal-accounts.5 quindal-basket.5 quindal-market.5 quindal-orders.5 quindal-positions.5 quindal-users.5)

set(manual_scripts ${CMAKE_SOURCE_DIR}/scripts/manual)
file(GLOB manual_sources ${CMAKE_SOURCE_DIR}/docs/*.md ${CMAKE_SOURCE_DIR}/docs/api/*.md)
set(manual_files)
foreach(page ${QUINDAL_MAN_PAGES})
  string(REGEX MATCH "[1-8]$" chapter ${page})
  set(made ${CMAKE_BINARY_DIR}/man/man${chapter}/${page})
  add_custom_command(OUTPUT ${made}
    COMMAND ${CMAKE_COMMAND} -E env QUINDAL=$<TARGET_FILE:quindal> PYTHONDONTWRITEBYTECODE=1
      /usr/bin/python3 ${manual_scripts}/man_pages.py ${CMAKE_BINARY_DIR}/man ${CMAKE_SOURCE_DIR}/docs/man/${page}.md
    DEPENDS quindal ${CMAKE_SOURCE_DIR}/docs/man/${page}.md ${manual_sources} ${manual_scripts}/man_pages.py
      ${manual_scripts}/expand.py ${manual_scripts}/man.lua
    COMMENT "Man page ${page}"
    VERBATIM)
  list(APPEND manual_files ${made})
endforeach()
add_custom_target(quindal_manual DEPENDS ${manual_files})
